#include "osal/common/DelegateGate.h"

#include "osal/SchedulePoint.h"
#include "osal/Threads.h"
#include "osal/common/LabelledQueue.h"

#include <pthread.h>

#include <utility>

namespace osal {
namespace {

thread_local const void *tGroupInCall = nullptr;
// Not by its address, which the next queue may get when this one is gone.
thread_local std::weak_ptr<LabelledQueue> tNamedAfter;

/// The thread has another name for the length of a scope.
class BorrowedThread {
public:
   explicit BorrowedThread(const std::string &name) {
      if (pthread_getname_np(pthread_self(), mFormer, sizeof(mFormer)) != 0) {
         mFormer[0] = '\0';
      }
      setThreadName(name.c_str());
   }
   ~BorrowedThread() { setThreadName(mFormer); }
   BorrowedThread(const BorrowedThread &) = delete;
   BorrowedThread &operator=(const BorrowedThread &) = delete;

private:
   char mFormer[64] = ""; // as long as names are anywhere
};

} // namespace

DelegateGate::DelegateGate(std::shared_ptr<const CaptureConnection> connection, Threads threads)
    : mConnection(std::move(connection))
    , mThreads(threads) {}

bool DelegateGate::IsInCallOf(const void *group) {
   return group != nullptr && tGroupInCall == group;
}

void DelegateGate::SetDelegate(SampleBufferDelegate *delegate, const std::shared_ptr<SerialQueue> &queue) {
   auto own = std::dynamic_pointer_cast<LabelledQueue>(queue);
   Lock lock(mMutex);
   mDelegate = own != nullptr ? delegate : nullptr;
   mQueue.swap(own);
   NoteTaken();
   AwaitEndOfCall(&lock);
}

void DelegateGate::Open(const void *group) {
   const Lock lock(mMutex);
   mGroup = group;
   mIsOpen = true;
   NoteTaken();
}

void DelegateGate::Close(Wait wait) {
   Lock lock(mMutex);
   mIsOpen = false;
   NoteTaken();
   if (wait == Wait::Yes) {
      AwaitEndOfCall(&lock);
   }
}

void DelegateGate::AwaitCallOf(const void *group) {
   Lock lock(mMutex);
   if (mGroup == group) {
      AwaitEndOfCall(&lock);
   }
}

void DelegateGate::SetSignal(WakeSignal *signal) {
   const Lock lock(mMutex);
   mSignal = signal;
}

// Waits for the call that runs now, not for one that begins later with another delegate.
void DelegateGate::AwaitEndOfCall(Lock *lock) {
   if (IsInCallOf(mGroup)) {
      return;
   }
   const uint64_t call = mCalls;
   mCallEnded.wait(*lock, [&] { return !mIsCalling || mCalls != call; });
}

void DelegateGate::NoteTaken() {
   const bool isTaken = mIsOpen && mDelegate != nullptr;
   if (mIsTaken.exchange(isTaken, std::memory_order_acq_rel) != isTaken && mSignal != nullptr) {
      mSignal->Raise();
   }
}

void DelegateGate::NameThread(const std::shared_ptr<LabelledQueue> &queue) {
   if (tNamedAfter.owner_before(queue) || queue.owner_before(tNamedAfter)) {
      setThreadName(queue->label().c_str());
      tNamedAfter = queue;
   }
}

bool DelegateGate::Deliver(const Ref<SampleBuffer> &buffer) {
   Lock lock(mMutex);
   if (!mIsOpen || mDelegate == nullptr) {
      return false;
   }
   const std::shared_ptr<LabelledQueue> queue = mQueue;
   lock.unlock();

   if (mThreads == Threads::Borrowed) {
      const BorrowedThread named(queue->label());
      return DeliverOn(queue, buffer);
   }
   NameThread(queue);
   return DeliverOn(queue, buffer);
}

bool DelegateGate::DeliverOn(const std::shared_ptr<LabelledQueue> &queue, const Ref<SampleBuffer> &buffer) {
   schedulePoint();
   const std::lock_guard<std::mutex> turn(queue->Turn());
   schedulePoint();

   Lock lock(mMutex);
   if (!mIsOpen || mDelegate == nullptr || mQueue != queue) {
      return false;
   }
   SampleBufferDelegate *const delegate = mDelegate;
   const void *const group = std::exchange(tGroupInCall, mGroup);
   mIsCalling = true;
   ++mCalls;
   lock.unlock();

   schedulePoint();
   delegate->captureOutput(buffer, *mConnection);
   schedulePoint();

   lock.lock();
   mIsCalling = false;
   tGroupInCall = group;
   lock.unlock();
   mCallEnded.notify_all();
   return true;
}

} // namespace osal
