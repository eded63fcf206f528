#pragma once

#include "osal/apple/fakes/FakeAVParts.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace fakes {

/// A device in use: a thread that makes pictures or sound and sends them the way of an output.
///
/// Owner: the session. Life cycle: runs from its making to its end, or until the device is unplugged.
class Flow {
public:
   Flow(std::shared_ptr<Device> device, AVCaptureInput *input, AVCaptureOutput *output);
   ~Flow();
   Flow(const Flow &) = delete;
   Flow &operator=(const Flow &) = delete;

   [[nodiscard]] bool Is(AVCaptureInput *input, AVCaptureOutput *output) const {
      return mInput == input && mOutput == output;
   }

private:
   void Run();
   double SendPicture();
   double SendSound();
   bool Rest(double seconds);

   const std::shared_ptr<Device> mDevice;
   AVCaptureInput *const mInput; // not retained: for comparison
   AVCaptureOutput *const mOutput;
   uint64_t mSent = 0; // pictures, or samples
   std::shared_ptr<std::atomic<int>> mOutstanding = std::make_shared<std::atomic<int>>(0);
   std::mutex mMutex;
   std::condition_variable mStopped;
   bool mIsStopped = false; // guarded by mMutex
   std::thread mThread;
};

} // namespace fakes
