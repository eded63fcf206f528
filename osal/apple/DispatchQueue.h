#pragma once

#include "osal/CaptureSession.h"
#include "osal/common/LabelledQueue.h"

#include <memory>
#include <string>

namespace osal {

/// A serial queue of libdispatch: no thread of its own, work one after the other in the order of its coming.
///
/// Owner: whoever made it. Threads: any thread. Life cycle: destroyed at any time; what was added is done all the same.
class DispatchQueue {
public:
   explicit DispatchQueue(const std::string &label);
   ~DispatchQueue();
   DispatchQueue(const DispatchQueue &) = delete;
   DispatchQueue &operator=(const DispatchQueue &) = delete;

   using Work = void (*)(void *context);
   /// Returns at once.
   void Async(void *context, Work work);
   /// The dispatch_queue_t, whose C++ type differs between C++ and Objective-C++.
   [[nodiscard]] void *Platform() const { return mQueue; }

private:
   void *const mQueue;
};

/// The serial queue of the seam: where AVFoundation calls, and the turn that the gates take on it.
class AppleSerialQueue final : public SerialQueue {
public:
   explicit AppleSerialQueue(const std::string &label)
       : mTurns(std::make_shared<LabelledQueue>(label))
       , mQueue(label) {}

   const std::string &label() const override { return mTurns->label(); }
   [[nodiscard]] const std::shared_ptr<LabelledQueue> &Turns() const { return mTurns; }
   [[nodiscard]] void *Platform() const { return mQueue.Platform(); }

private:
   const std::shared_ptr<LabelledQueue> mTurns;
   const DispatchQueue mQueue;
};

} // namespace osal
