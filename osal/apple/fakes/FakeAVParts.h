#pragma once

#import <AVFoundation/AVFoundation.h>

#include "osal/apple/fakes/FakeCoreMedia.h"
#include "osal/apple/fakes/World.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

namespace fakes {

struct InputState {
   Counted counted;
   std::shared_ptr<Device> device;
   AVCaptureSession *session = nil; ///< not retained; guarded by ConfigurationLock
};

struct VideoFormat {
   OSType pixelFormat = 0;
   int width = 0; ///< 0: the camera's own size
   int height = 0;
};
struct SoundFormat {
   int rate = 48000;
   int channels = 1;
};

struct OutputState {
   Counted counted;
   bool isVideo = false;
   // Guarded by ConfigurationLock:
   AVCaptureSession *session = nil;       ///< not retained
   AVCaptureInput *source = nil;          ///< that the connection begins at; not retained
   AVCaptureConnection *connection = nil; ///< retained
   std::atomic<int> pending{0};           ///< deliveries that are queued or under way
   std::mutex mutex;
   // Guarded by mutex:
   id delegate = nil; ///< not retained
   dispatch_queue_t queue = nullptr;
   bool discardsLate = true;
   VideoFormat video{0x32767579, 0, 0};
   SoundFormat sound;
};

[[nodiscard]] InputState &StateOf(AVCaptureInput *input);
[[nodiscard]] OutputState &StateOf(AVCaptureOutput *output);
[[nodiscard]] AVCaptureConnection *NewConnection(bool isVideo);

/// Guards who is in which session and connected to what.
[[nodiscard]] std::recursive_mutex &ConfigurationLock();

/// Sends a buffer the way of an output: to its delegate, on its queue. False: nobody takes it, or it would be late.
bool Deliver(AVCaptureOutput *output, FakeSampleBuffer *buffer);

} // namespace fakes
