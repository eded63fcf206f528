#pragma once

#include "osal/Capture.h"
#include "tests/conformance/CaptureCollector.h"
#include "tests/conformance/DevicesConformance.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace conformance {

// The scene of the capture suites: two cameras, a microphone and an output.
inline constexpr char kCamera[] = "cam-1";
inline constexpr char kOtherCamera[] = "cam-2";
inline constexpr char kMicrophone[] = "mic-1";
inline constexpr osal::VideoDimensions kSize{320, 240};
inline constexpr int32_t kRate = 48000;
inline const Scene &Full() {
   static const Scene scene = {
      {{"First Camera", kCamera, {{640, 480}, kSize}}, {"Second Camera", kOtherCamera, {kSize}}},
      {{"Microphone", kMicrophone, true}, {"Speakers", "out-1", false}}};
   return scene;
}

/// One device, one output, one session and a collector, all of which a test may take apart.
struct Rig {
   std::unique_ptr<osal::CaptureSession> session;
   std::shared_ptr<osal::CaptureDeviceInput> input;
   std::shared_ptr<osal::CaptureOutput> output;
   std::shared_ptr<osal::SerialQueue> queue;
   Collector collector;

   Rig(osal::Capture &capture, std::shared_ptr<osal::CaptureDeviceInput> source, osal::MediaType kind,
       osal::VideoDimensions size = kSize, const char *label = "Test Queue")
       : session(capture.makeSession())
       , input(std::move(source))
       , queue(capture.makeSerialQueue(label)) {
      if (kind == osal::MediaType::Video) {
         auto video = capture.makeVideoDataOutput();
         video->setAlwaysDiscardsLateVideoFrames(true);
         video->setVideoSettings({osal::FourCC("420f"), size});
         output = std::move(video);
      } else {
         auto audio = capture.makeAudioDataOutput();
         audio->setAudioSettings({osal::FourCC("lpcm"), kRate, 1, 16, false, false});
         output = std::move(audio);
      }
      output->setSampleBufferDelegate(&collector, queue);
      session->beginConfiguration();
      session->addInput(input);
      session->addOutput(output);
      session->commitConfiguration();
   }
   ~Rig() { session.reset(); } // before the collector
   Rig(const Rig &) = delete;
   Rig &operator=(const Rig &) = delete;
};

} // namespace conformance
