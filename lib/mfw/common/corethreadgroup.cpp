#include "lib/mfw/common/corethreadgroup.h"

#include "lib/mfw/common/corestring.h"
#include "lib/mfw/common/logger.h"

#include "osal/Clock.h"
#include "osal/SchedulePoint.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace CORE {
namespace {

constexpr uint32_t kRoundMS = 1000;
constexpr uint64_t kQuietNs = 2'000'000'000;

constinit std::atomic<bool> gAllThreadsGroupExists{false};

uint64_t NowNs() {
   return osal::Clock::current().monotonicNs();
}

} // namespace

struct corethreadgroup::Round {
   uint64_t id = 0;
   std::shared_ptr<corethreadhandle> thread; // null when there is none left
};

corethreadgroup::Room::Room(std::shared_ptr<corethreadhandle> thread) {
   Threads one;
   one.emplace(0, std::move(thread));
   mNode = one.extract(one.begin());
}

corethreadgroup::corethreadgroup(const char *name)
    : mName(name != nullptr ? name : "") {}

corethreadgroup::~corethreadgroup() noexcept(false) = default;

void corethreadgroup::Add(uint64_t id, HANDLE handle) {
   auto thread = std::make_shared<corethreadhandle>();
   Room room(thread);
   thread->handle = handle;
   Add(std::move(room), id);
}

void corethreadgroup::Add(Room room, uint64_t id) noexcept {
   const coresync hold(mLock);
   if (const auto former = mThreads.find(id); former != mThreads.end()) {
      former->second->owned = false;
      mThreads.erase(former);
   }
   room.mNode.key() = id;
   mThreads.insert(std::move(room.mNode));
}

void corethreadgroup::Remove(bool closeHandle) {
   const coresync hold(mLock);
   const auto self = mThreads.find(GetCurrentThreadId());
   if (self == mThreads.end()) {
      return;
   }
   self->second->owned = closeHandle;
   osal::schedulePoint();
   mThreads.erase(self);
}

size_t corethreadgroup::Size() {
   const coresync hold(mLock);
   return mThreads.size();
}

// The thread with the lowest id. Logs the ids when their number is another than at the last line.
corethreadgroup::Round corethreadgroup::NextRound(uint64_t startNs, size_t &loggedCount) {
   corestring ids;
   Round round;
   {
      const coresync hold(mLock);
      if (mThreads.empty()) {
         return round;
      }
      round = {mThreads.begin()->first, mThreads.begin()->second};
      if (mThreads.size() == loggedCount || NowNs() - startNs <= kQuietNs) {
         return round;
      }
      loggedCount = mThreads.size();
      for (const auto &[id, thread] : mThreads) {
         ids.Append((" " + std::to_string(id)).c_str());
      }
   }
   MAVR_LOG_TRACE("corethreadgroup::wait threadIds:%s", ids.Text());
   return round;
}

void corethreadgroup::Forget(const Round &round) {
   const coresync hold(mLock);
   if (const auto ended = mThreads.find(round.id); ended != mThreads.end() && ended->second == round.thread) {
      mThreads.erase(ended);
   }
}

void corethreadgroup::Wait(uint32_t timeoutMS) {
   if (coreExiting.load()) {
      return;
   }
   const uint64_t startNs = NowNs();
   size_t loggedCount = 0;
   for (uint32_t leftMS = timeoutMS;;) {
      const Round round = NextRound(startNs, loggedCount);
      if (round.thread == nullptr) {
         break;
      }
      const uint64_t roundNs = NowNs();
      const uint32_t result = WaitForSingleObject(round.thread->handle, std::min(leftMS, kRoundMS));
      if (result == WAIT_TIMEOUT && leftMS < kRoundMS) {
         break;
      }
      if (result != WAIT_TIMEOUT) {
         Forget(round);
      }
      if (timeoutMS == INFINITE) {
         continue;
      }
      const uint64_t tookMS = (NowNs() - roundNs) / 1'000'000;
      if (tookMS >= leftMS) {
         break;
      }
      leftMS -= static_cast<uint32_t>(tookMS);
   }
   if (loggedCount != 0) {
      MAVR_LOG_TRACE("corethreadgroup::wait done");
   }
}

corerunnable_allThreadsGroup::corerunnable_allThreadsGroup() {
   gAllThreadsGroupExists.store(true);
}

corerunnable_allThreadsGroup::~corerunnable_allThreadsGroup() noexcept(false) {
   gAllThreadsGroupExists.store(false);
}

bool corerunnable_allThreadsGroup::Exists() {
   return gAllThreadsGroupExists.load();
}

corerunnable_allThreadsGroup &allThreadsGroup() {
   static corerunnable_allThreadsGroup &group = *new corerunnable_allThreadsGroup;
   return group;
}

} // namespace CORE
