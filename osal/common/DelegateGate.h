#pragma once

#include "osal/CaptureSession.h"
#include "osal/SampleBuffer.h"
#include "osal/common/WakeSignal.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

namespace osal {

class LabelledQueue;

/// The way from a delivery thread to a delegate; keeps the promise of CaptureOutput.
///
/// A buffer passes when the gate is open and there is a delegate with a queue. Close and SetDelegate return when the
/// call that they could not stop any more is over; but they do not wait on a thread that is in a delegate call of the
/// same group, which is a session. Owner: shared by the output and the stream that delivers to it. Threads: Deliver on
/// one delivery thread at a time, the others on any. Locks: mMutex for the fields, never held during a delegate call;
/// the turn of the serial queue during one. Life cycle: closed -> open -> closed ...; no allocation after it was made.
class DelegateGate {
public:
   /// Whether delivery threads are the backend's own, which keep the label as their name, or the system's, which get
   /// their former name back after each call.
   enum class Threads { Own, Borrowed };
   explicit DelegateGate(std::shared_ptr<const CaptureConnection> connection, Threads threads = Threads::Own);

   /// Whether this thread is in a delegate call of `group`.
   [[nodiscard]] static bool IsInCallOf(const void *group);

   /// A delegate without a queue, or one of another backend's queue, is none.
   void SetDelegate(SampleBufferDelegate *delegate, const std::shared_ptr<SerialQueue> &queue);
   void SetDiscardsLate(bool discards) { mDiscardsLate.store(discards, std::memory_order_relaxed); }
   [[nodiscard]] bool DiscardsLate() const { return mDiscardsLate.load(std::memory_order_relaxed); }

   void Open(const void *group);
   /// `Wait::No`: no further call begins, and the one that runs goes on.
   enum class Wait { Yes, No };
   void Close(Wait wait = Wait::Yes);

   /// Returns when the delegate call of `group` that runs now, if one does, is over.
   void AwaitCallOf(const void *group);

   /// Whether a buffer would pass now: none need be filled otherwise.
   [[nodiscard]] bool IsTaken() const { return mIsTaken.load(std::memory_order_acquire); }
   /// Is raised with each change of IsTaken; null: none. It has to live until it is taken away again.
   void SetSignal(WakeSignal *signal);

   /// Calls the delegate with `buffer` on this thread, which gets the label of the queue as its name. False: nobody
   /// takes it.
   bool Deliver(const Ref<SampleBuffer> &buffer);

private:
   using Lock = std::unique_lock<std::mutex>;
   void AwaitEndOfCall(Lock *lock);
   void NoteTaken();
   void NameThread(const std::shared_ptr<LabelledQueue> &queue);
   bool DeliverOn(const std::shared_ptr<LabelledQueue> &queue, const Ref<SampleBuffer> &buffer);

   const std::shared_ptr<const CaptureConnection> mConnection;
   const Threads mThreads;
   std::atomic<bool> mDiscardsLate{false};
   std::atomic<bool> mIsTaken{false};
   std::mutex mMutex;
   std::condition_variable mCallEnded;
   // Guarded by mMutex:
   SampleBufferDelegate *mDelegate = nullptr;
   std::shared_ptr<LabelledQueue> mQueue;
   const void *mGroup = nullptr;
   WakeSignal *mSignal = nullptr;
   bool mIsOpen = false;
   bool mIsCalling = false;
   uint64_t mCalls = 0;
};

} // namespace osal
