#include "pcoip_host/simulated/PluginThreads.h"

#include <algorithm>
#include <cassert>
#include <memory>

namespace {

std::atomic<PluginThreads *> gInForce{nullptr};

} // namespace

struct PluginThreads::Begun {
   PluginThreads *threads;
   platforms::ThreadStart start;
   void *argument;
};

PluginThreads::PluginThreads()
    : mSystem(osal::Clock::current())
    , mFormerBegin(CORE::coreBeginThread.load())
    , mInForce(*this) {
   assert(gInForce.load() == nullptr);
   gInForce.store(this);
   CORE::coreBeginThread.store(&Begin);
}

PluginThreads::~PluginThreads() {
   assert(Alive() == 0);
   CORE::coreBeginThread.store(mFormerBegin);
   gInForce.store(nullptr);
}

HANDLE PluginThreads::Begin(void *security, uint32_t stack, platforms::ThreadStart start, void *argument,
                            uint32_t flags, uint32_t *outId) {
   PluginThreads &threads = *gInForce.load();
   auto begun = std::make_unique<Begun>(Begun{&threads, start, argument});
   threads.mAlive.fetch_add(1);
   HANDLE const handle = threads.mFormerBegin(security, stack, &Main, begun.get(), flags, outId);
   if (handle == nullptr) {
      threads.mAlive.fetch_sub(1);
      return nullptr;
   }
   (void)begun.release(); // the thread's
   return handle;
}

uint32_t PluginThreads::Main(void *begunThread) {
   const std::unique_ptr<Begun> begun(static_cast<Begun *>(begunThread));
   PluginThreads &threads = *begun->threads;
   const uint32_t result = begun->start(begun->argument);
   threads.CountMove();
   threads.mAlive.fetch_sub(1);
   return result;
}

bool PluginThreads::waitWhile(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs) {
   CountMove();
   std::list<Sleeper>::iterator place;
   {
      const std::lock_guard<std::mutex> hold(mLock);
      place = mSleepers.insert(mSleepers.end(), {&word, value});
   }
   const bool inTime = mSystem.waitWhile(word, value, deadlineNs);
   const std::lock_guard<std::mutex> hold(mLock);
   mSleepers.erase(place);
   return inTime;
}

uint32_t PluginThreads::Asleep() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return static_cast<uint32_t>(std::count_if(mSleepers.begin(), mSleepers.end(), [](const Sleeper &sleeper) {
      return sleeper.word->load() == sleeper.value;
   }));
}
