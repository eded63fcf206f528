#include "lib/mfw/common/coreshutdown.h"

#include "lib/mfw/common/corethreadgroup.h"
#include "lib/mfw/common/coretimerlock.h"
#include "lib/mfw/common/linuxSupport.h"

#include "osal/Clock.h"
#include "osal/SchedulePoint.h"

#include <algorithm>
#include <cstdarg>
#include <utility>

namespace CORE {
namespace {

constexpr uint32_t kSettleMS = 25;
constexpr uint32_t kRoundMS = 5000;

// All of it guarded by the timer lock. Plain pointers, which no destructor touches at exit.
constinit bool gShutdown = false;
constinit HANDLE gShutdownEvent = nullptr; // manual; set while no shutdown is running
constinit std::vector<ShutdownCallback> *gCallbacks = nullptr;

void BeginShutdown() {
   const coresynctimer hold;
   gShutdown = true;
   if (gShutdownEvent != nullptr) {
      ResetEvent(gShutdownEvent);
   }
}

void EndShutdown() {
   const coresynctimer hold;
   gShutdown = false;
   if (gShutdownEvent != nullptr) {
      SetEvent(gShutdownEvent);
   }
}

// The flag is cleared whatever a callback throws: else nobody could ever register again.
class ShutdownScope {
public:
   ShutdownScope() { BeginShutdown(); }
   ShutdownScope(const ShutdownScope &) = delete;
   ShutdownScope &operator=(const ShutdownScope &) = delete;
   ~ShutdownScope() { EndShutdown(); }
};

// Null when the list is empty, which frees it.
ShutdownCallback TakeCallback() {
   const coresynctimer hold;
   if (gCallbacks == nullptr || gCallbacks->empty()) {
      delete gCallbacks;
      gCallbacks = nullptr;
      return nullptr;
   }
   const ShutdownCallback first = gCallbacks->front();
   gCallbacks->erase(gCallbacks->begin());
   return first;
}

// Under the timer lock.
void AddCallback(ShutdownCallback function) {
   if (gCallbacks == nullptr) {
      gCallbacks = new std::vector<ShutdownCallback>;
   }
   gCallbacks->push_back(function);
}

void Tell(std::vector<corestring> &messages, const char *format, ...) __attribute__((format(printf, 2, 3)));
void Tell(std::vector<corestring> &messages, const char *format, ...) {
   corestring text;
   va_list args;
   va_start(args, format);
   text.FormatV(format, args);
   va_end(args);
   messages.push_back(std::move(text));
}

// Time on the monotonic clock: a wall clock that is set must neither end a wait nor stretch it.
class Stopwatch {
public:
   [[nodiscard]] uint64_t ElapsedMS() const { return (osal::Clock::current().monotonicNs() - mStartNs) / 1'000'000; }

private:
   uint64_t mStartNs = osal::Clock::current().monotonicNs();
};

// One round of a wait that has already taken `elapsedMS`.
uint32_t WaitForShutdown(HANDLE ended, uint32_t timeoutMS, uint64_t elapsedMS) {
   if (coreExiting.load()) {
      return WAIT_OBJECT_0;
   }
   const uint64_t left = timeoutMS == INFINITE ? kRoundMS : timeoutMS - std::min<uint64_t>(elapsedMS, timeoutMS);
   return WaitForSingleObject(ended, static_cast<uint32_t>(std::min<uint64_t>(left, kRoundMS)));
}

// One look of a waiter: registers when no shutdown is running. The event is set when it is made, also in the middle of
// a shutdown; it is put right here, so that the next wait is one.
bool RegisterUnlessShutdown(ShutdownCallback function, size_t &threadCount) {
   const coresynctimer hold;
   threadCount = allThreadsGroup().Size();
   if (!gShutdown) {
      AddCallback(function);
      return true;
   }
   ResetEvent(gShutdownEvent);
   return false;
}

// The event, made on first need; null when that fails.
HANDLE ShutdownEvent() {
   const coresynctimer hold;
   if (gShutdownEvent == nullptr) {
      gShutdownEvent = CreateEvent(nullptr, true, true, nullptr);
   }
   return gShutdownEvent;
}

} // namespace

uint32_t waitForAllThreads(uint32_t timeoutMS) {
   if (coreExiting.load()) {
      return 0;
   }
   {
      const ShutdownScope shutdown;
      while (const ShutdownCallback callback = TakeCallback()) {
         osal::schedulePoint();
         callback();
      }
      allThreadsGroup().Wait(timeoutMS);
      Sleep(kSettleMS);
   }
   return static_cast<uint32_t>(allThreadsGroup().Size());
}

bool registerShutdownCallback(ShutdownCallback function) {
   const coresynctimer hold;
   if (gShutdown) {
      return false;
   }
   AddCallback(function);
   return true;
}

bool registerShutdownCallbackOnce(ShutdownCallback function) {
   const coresynctimer hold;
   const bool known =
      gCallbacks != nullptr && std::find(gCallbacks->begin(), gCallbacks->end(), function) != gCallbacks->end();
   return known ? !gShutdown : registerShutdownCallback(function);
}

bool waitForAllThreads_NotifyWithWait(ShutdownCallback function, uint32_t timeoutMS,
                                      std::vector<corestring> &messages) {
   const HANDLE shutdownEnded = ShutdownEvent();
   if (shutdownEnded == nullptr) {
      Tell(messages, "Error: waitForAllThreads_NotifyWithWait: failed to create event, error=%d", GetLastError());
      return false;
   }
   const Stopwatch sinceStart;
   Stopwatch sinceWarn;
   Tell(messages, "Trace: waitForAllThreads_NotifyWithWait: starting wait loop, timeout=%d ms",
        static_cast<int>(timeoutMS));
   size_t lastCount = 0;
   int attempt = 1;
   for (; timeoutMS == INFINITE || sinceStart.ElapsedMS() < timeoutMS; ++attempt) {
      const uint32_t result = WaitForShutdown(shutdownEnded, timeoutMS, sinceStart.ElapsedMS());
      osal::schedulePoint();
      size_t threadCount = 0;
      if (attempt < 2 || result != WAIT_TIMEOUT) {
         if (RegisterUnlessShutdown(function, threadCount)) {
            Tell(messages,
                 "Trace: waitForAllThreads_NotifyWithWait: registered successfully after %d attempts (%d ms), final "
                 "threadCount=%zu",
                 attempt, static_cast<int>(sinceStart.ElapsedMS()), threadCount);
            return true;
         }
         if (threadCount != lastCount) {
            Tell(messages, "Trace: waitForAllThreads_NotifyWithWait: new shutdown detected, threadCount=%zu, retrying",
                 threadCount);
            lastCount = threadCount;
         }
         if (coreExiting.load()) {
            break; // nothing waits any more, and so no shutdown will be seen to end
         }
      } else if (sinceWarn.ElapsedMS() >= kRoundMS) {
         Tell(messages,
              "Warn: waitForAllThreads_NotifyWithWait: still waiting, elapsed=%d ms, attempts=%d, threadCount=%zu",
              static_cast<int>(sinceStart.ElapsedMS()), attempt, allThreadsGroup().Size());
         sinceWarn = Stopwatch();
      }
   }
   Tell(messages, "Error: waitForAllThreads_NotifyWithWait: TIMED OUT after %d ms (%d attempts)",
        static_cast<int>(sinceStart.ElapsedMS()), attempt);
   return false;
}

} // namespace CORE
