#pragma once

#include "lib/mfw/common/linuxSupport.h"

#include "osal/Clock.h"

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

/// What the tests of events, threads and waits share.
namespace waittest {

/// A handle of a test; closed with it.
class Handle {
public:
   explicit Handle(HANDLE handle)
       : mHandle(handle) {}
   static Handle AutoReset(bool set = false) { return Handle(CreateEvent(nullptr, false, set, nullptr)); }
   static Handle ManualReset(bool set = false) { return Handle(CreateEvent(nullptr, true, set, nullptr)); }
   Handle(Handle &&other) noexcept
       : mHandle(std::exchange(other.mHandle, nullptr)) {}
   Handle &operator=(Handle &&) = delete;
   ~Handle() {
      if (mHandle != nullptr) {
         CloseHandle(mHandle);
      }
   }
   operator HANDLE() const { return mHandle; } // NOLINT: it stands for the handle

   [[nodiscard]] bool IsSet() const { return WaitForSingleObject(mHandle, 0) == WAIT_OBJECT_0; }

private:
   HANDLE mHandle;
};

/// A wait on a thread of its own, and its result.
class Waiter {
public:
   explicit Waiter(std::function<uint32_t()> wait)
       : mThread([this, wait = std::move(wait)] {
          mResult = wait();
          mDone = true;
       }) {}
   ~Waiter() {
      if (mThread.joinable()) {
         mThread.join();
      }
   }
   Waiter(const Waiter &) = delete;
   Waiter &operator=(const Waiter &) = delete;

   uint32_t Result() {
      mThread.join();
      return mResult;
   }
   [[nodiscard]] bool Done() const { return mDone.load(); }

private:
   uint32_t mResult = 0;
   std::atomic<bool> mDone{false};
   std::thread mThread;
};

/// A WindowsThread that ends when it is told to.
class EndableThread {
public:
   EndableThread()
       : mThread(_beginthreadex(
            nullptr, 0,
            [](void *self) -> uint32_t {
               return WaitForSingleObject(static_cast<EndableThread *>(self)->mEnd, INFINITE);
            },
            this, 0, nullptr)) {}
   ~EndableThread() {
      End();
      WaitForSingleObject(mThread, INFINITE);
   }
   EndableThread(const EndableThread &) = delete;
   EndableThread &operator=(const EndableThread &) = delete;

   void End() { SetEvent(mEnd); }
   operator HANDLE() const { return mThread; } // NOLINT: it stands for the handle

private:
   Handle mEnd = Handle::ManualReset();
   Handle mThread;
};

/// The system's time, with something done in the gap between a waiter's last look and its sleep, or after a wake-up.
/// In force for its lifetime.
class GapClock final : public osal::Clock {
public:
   std::function<void()> beforeSleep;
   std::function<void()> afterSleep;

   GapClock()
       : mSystem(osal::Clock::current())
       , mInForce(*this) {}
   uint64_t monotonicNs() const override { return mSystem.monotonicNs(); }
   osal::WallTime wallTime() const override { return mSystem.wallTime(); }
   void sleepNs(uint64_t ns) override { mSystem.sleepNs(ns); }
   bool waitWhile(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs) override {
      FillGap();
      const bool inTime = !mFails && mSystem.waitWhile(word, value, deadlineNs);
      if (afterSleep) {
         afterSleep();
      }
      return inTime;
   }
   void FailWaits() { mFails = true; }

private:
   // Apart, because the address sanitizer does not unmark the frames of a cancelled thread: waitWhile has no marks.
   [[gnu::noinline]] void FillGap() {
      if (beforeSleep) {
         std::exchange(beforeSleep, nullptr)();
      }
   }

   osal::Clock &mSystem;
   bool mFails = false;
   osal::ScopedClock mInForce;
};

} // namespace waittest
