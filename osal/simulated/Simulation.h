#pragma once

#include "osal/CaptureDevice.h"

#include <cstdint>
#include <string>
#include <vector>

namespace osal {

/// What a simulated camera shows.
enum class SimulatedPattern {
   Bars,     ///< eight vertical colour bars
   Gradient, ///< luma rises from left to right
   Noise,    ///< seeded, the same in every run
   Counter,  ///< the frame's number, readable from its pixels
};

/// A camera of a simulation. Counts of 0 mean never.
struct SimulatedCamera {
   std::string name;
   std::string uniqueId;
   std::vector<CaptureDeviceFormat> formats;
   SimulatedPattern pattern = SimulatedPattern::Counter;
   bool isDefault = false;
   struct Fail {
      int32_t input = 0;              ///< status of opening it
      uint32_t unplugAfterFrames = 0; ///< it is gone after so many frames
      uint32_t resizeAfterFrames = 0; ///< frames change their size after so many
      uint32_t lockEvery = 0;         ///< locking the pixels of every n-th frame fails
   } fail;
};

/// A microphone, or with no input streams an output-only device.
struct SimulatedMicrophone {
   std::string name;
   std::string uniqueId;
   uint32_t inputStreams = 1;
   double toneHz = 440;
   double level = 0.5; ///< amplitude of the tone, 1 is full scale
   bool isDefault = false;
   struct Fail {
      int32_t streams = 0; ///< status of the property, in place of its value
      int32_t name = 0;
      int32_t uid = 0;
      uint32_t unplugAfterBuffers = 0; ///< it is gone after so many buffers; 0: never
   } fail;
};

enum class SimulatedClock {
   Real, ///< frames and buffers come at the device's rate
   Fast, ///< they come as fast as they are taken
};

/// All that a simulation file says, defaults filled in. A plain value.
struct Simulation {
   std::vector<SimulatedCamera> cameras;
   std::vector<SimulatedMicrophone> microphones;
   struct AudioHardwareFail {
      int32_t size = 0; ///< status of asking how many audio devices there are
      int32_t ids = 0;  ///< status of reading their ids
   } audioHardwareFail;
   SimulatedClock clock = SimulatedClock::Real;
   /// What was tolerated and is probably a mistake, with its place: "12:7: unknown key \"nmae\"".
   std::vector<std::string> warnings;
};

/// The set without a file: three cameras, two of one name, two microphones of one name, one output-only device.
[[nodiscard]] Simulation BuiltInSimulation();

} // namespace osal
