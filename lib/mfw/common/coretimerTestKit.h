#pragma once

#include "lib/mfw/common/coretimer.h"
#include "lib/mfw/common/coretimerlock.h"
#include "lib/mfw/common/coretimerservice.h"
#include "lib/mfw/common/linuxSupport.h"
#include "lib/mfw/common/threadWrapper.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// What the tests of timers share: timers on a stepping clock that write down when they fire.
namespace CORE::timer_test {

class Gate {
public:
   ~Gate() { CloseHandle(mEvent); }
   void Open() { SetEvent(mEvent); }
   void Pass() { WaitForSingleObject(mEvent, INFINITE); }

private:
   const HANDLE mEvent = CreateEvent(nullptr, true, false, nullptr);
};

class Nothing final : public coretimer {
public:
   bool OnTimer() override { return true; }
};

/// Who fired, and after how many milliseconds: "a@1000".
class Diary {
public:
   void Note(const std::string &name) {
      const uint64_t ms = (clock.monotonicNs() - mStartNs) / 1'000'000;
      const std::lock_guard<std::mutex> hold(mLock);
      mFires.push_back(name + "@" + std::to_string(ms));
   }
   std::vector<std::string> Fires() {
      const std::lock_guard<std::mutex> hold(mLock);
      return mFires;
   }
   void AwaitCount(size_t count) {
      while (Fires().size() < count) {
         std::this_thread::yield();
      }
   }

   kit::ManualClock clock;
   kit::LogCapture log;

private:
   const uint64_t mStartNs = clock.monotonicNs();
   std::mutex mLock;
   std::vector<std::string> mFires;
};

class Probe final : public coretimer {
public:
   using Body = std::function<bool(Probe &)>;

   Probe(std::string name, Diary &diary, Body body)
       : mName(std::move(name))
       , mDiary(diary)
       , mBody(std::move(body)) {}
   ~Probe() override {
      StopAndWait();
      if (gone != nullptr) {
         gone->Open();
      }
   }
   bool OnTimer() override {
      mDiary.Note(mName);
      if (gated) {
         gate.Pass();
      }
      return mBody == nullptr ? !gated : mBody(*this);
   }

   Gate gate;
   std::atomic<bool> gated{false}; // the callback waits for the gate, and returns false
   Gate *gone = nullptr;           // opened by the destructor

private:
   const std::string mName;
   Diary &mDiary;
   const Body mBody;
};

/// Counts the threads that runnables have, so that a test knows when the last one is really gone.
class CountedThreads {
public:
   CountedThreads() { coreBeginThread = Begin; }
   ~CountedThreads() { coreBeginThread = _beginthreadex; }
   CountedThreads(const CountedThreads &) = delete;
   CountedThreads &operator=(const CountedThreads &) = delete;

   [[nodiscard]] static int Running() { return sRunning.load(); }

private:
   struct Thread {
      ~Thread() { --sRunning; }
      platforms::ThreadStart start;
      void *argument;
   };

   static HANDLE Begin(void *security, uint32_t stack, platforms::ThreadStart start, void *argument, uint32_t flags,
                       uint32_t *outId) {
      ++sRunning;
      std::unique_ptr<Thread> thread(new Thread{start, argument});
      const auto run = [](void *self) {
         const std::unique_ptr<Thread> ends(static_cast<Thread *>(self));
         return ends->start(ends->argument);
      };
      const HANDLE handle = _beginthreadex(security, stack, run, thread.get(), flags, outId);
      if (handle != nullptr) {
         static_cast<void>(thread.release());
      }
      return handle;
   }

   static inline std::atomic<int> sRunning{0};
};

/// Timers, their diary, and their end.
class Timers : public Diary {
public:
   ~Timers() {
      for (Probe *const probe : mProbes) {
         probe->gate.Open();
         probe->StopAndWait();
         probe->Release();
      }
      AwaitNoService();
   }

   Probe *Make(const char *name, Probe::Body body = nullptr) {
      mProbes.push_back(new Probe(name, *this, std::move(body)));
      return mProbes.back();
   }
   Probe *MakeGated(const char *name) {
      Probe *const probe = Make(name);
      probe->gated = true;
      return probe;
   }
   void Forget(Probe *probe) {
      mProbes.erase(std::remove(mProbes.begin(), mProbes.end(), probe), mProbes.end());
      probe->Release();
   }

   void Advance(uint64_t ms) { clock.AdvanceMs(ms); }
   void SetWallBack(int64_t ms) {
      const osal::WallTime now = clock.wallTime();
      clock.SetWallUs(now.seconds * 1'000'000 + now.microseconds - ms * 1000);
   }
   static uint32_t Tick() { return GetTickCount(); }

   /// Returns when the service sleeps until that many milliseconds from now.
   void Settle(uint64_t ms) {
      while (clock.Sleepers() != 1 || MsToDeadline() != ms) {
         std::this_thread::yield();
      }
   }
   void SettleIdle() {
      while (clock.Sleepers() != 1 || clock.NextDeadlineNs() != osal::Clock::kNoDeadline) {
         std::this_thread::yield();
      }
   }
   uint64_t MsToDeadline() {
      const uint64_t next = clock.NextDeadlineNs();
      return next == osal::Clock::kNoDeadline ? UINT64_MAX : (next - clock.monotonicNs()) / 1'000'000;
   }
   void SetVerbose() {
      const coresynctimer hold;
      coretimerservice::Current()->SetVerbose(true);
   }
   static bool HasService() {
      const coresynctimer hold;
      return coretimerservice::Current() != nullptr;
   }
   void AwaitNoService() {
      while (HasService() || mThreads.Running() != 0) {
         std::this_thread::yield();
      }
   }

private:
   CountedThreads mThreads;
   std::vector<Probe *> mProbes;
};

} // namespace CORE::timer_test
