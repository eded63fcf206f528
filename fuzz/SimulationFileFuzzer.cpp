// Any bytes as a simulation file: refused with a place and a reason, or read into values within the stated bounds.

#include "osal/simulated/SimulationFile.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   osal::Simulation simulation;
   const osal::Status status =
      osal::ParseSimulation(std::string_view(reinterpret_cast<const char *>(data), size), &simulation);
   if (!status.ok()) {
      Require(status.reason.size() < 400);
      Require(status.reason[0] >= '1' && status.reason[0] <= '9'); // the line
      Require(simulation.cameras.empty() && simulation.microphones.empty());
      return 0;
   }
   for (const osal::SimulatedCamera &camera : simulation.cameras) {
      for (const osal::CaptureDeviceFormat &format : camera.formats) {
         Require(format.dimensions.width >= 0 && format.dimensions.width <= 16384);
         Require(format.dimensions.height >= 0 && format.dimensions.height <= 16384);
         Require(format.minFrameRate <= format.maxFrameRate);
      }
   }
   for (const osal::SimulatedMicrophone &microphone : simulation.microphones) {
      Require(microphone.level >= 0 && microphone.level <= 1);
      Require(microphone.inputStreams <= 64);
   }
   Require(simulation.warnings.size() <= 22);
   return 0;
}
