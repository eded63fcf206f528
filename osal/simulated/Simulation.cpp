#include "osal/simulated/Simulation.h"

#include <initializer_list>

namespace osal {
namespace {

std::vector<CaptureDeviceFormat> Formats(std::initializer_list<uint32_t> pixelFormats,
                                         std::initializer_list<VideoDimensions> sizes) {
   std::vector<CaptureDeviceFormat> formats;
   for (const VideoDimensions &size : sizes) {
      for (const uint32_t pixelFormat : pixelFormats) {
         formats.push_back({pixelFormat, size, 1, 30});
      }
   }
   return formats;
}

} // namespace

Simulation BuiltInSimulation() {
   constexpr uint32_t kFullRange = FourCC("420f");
   constexpr uint32_t kVideoRange = FourCC("420v");
   Simulation simulation;
   simulation.cameras = {
      {"Desk Camera",
       "sim-cam-1",
       Formats({kFullRange, kVideoRange}, {{640, 480}, {1280, 720}, {1920, 1080}}),
       SimulatedPattern::Counter,
       true,
       {}},
      {"USB Camera",
       "sim-cam-2",
       Formats({kVideoRange}, {{320, 240}, {640, 480}, {1280, 720}}),
       SimulatedPattern::Bars,
       false,
       {}},
      {"USB Camera",
       "sim-cam-3",
       Formats({kFullRange}, {{640, 360}, {1280, 720}}),
       SimulatedPattern::Gradient,
       false,
       {}},
   };
   simulation.microphones = {
      {"USB Microphone", "sim-mic-1", 1, 440, 0.5, true, {}},
      {"USB Microphone", "sim-mic-2", 1, 880, 0.25, false, {}},
      {"Desk Speakers", "sim-out-1", 0, 0, 0, false, {}},
   };
   return simulation;
}

} // namespace osal
