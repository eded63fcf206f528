#include "libs/pcoip_mfw/CallbackGate.h"

#include "osal/SchedulePoint.h"
#include "osal/WaitWord.h"

namespace {

thread_local CallbackGate::Stay *tInnermost = nullptr;

} // namespace

CallbackGate::Stay::Stay(CallbackGate &gate)
    : mGate(gate)
    , mOuter(tInnermost) {
   tInnermost = this;
   mGate.mWord.fetch_add(1);
}

CallbackGate::Stay::~Stay() {
   tInnermost = mOuter;
   std::atomic<uint32_t> &word = mGate.mWord;
   if ((word.fetch_sub(1) & kAwaited) != 0) {
      osal::waitword::wakeAll(word);
   }
}

void CallbackGate::AwaitOthers() {
   const uint32_t own = StaysOfThisThread();
   uint32_t word = mWord.fetch_or(kAwaited) | kAwaited;
   while ((word & ~kAwaited) > own) {
      osal::schedulePoint();
      osal::waitword::waitWhile(mWord, word);
      word = mWord.load();
   }
}

uint32_t CallbackGate::StaysOfThisThread() const {
   uint32_t count = 0;
   for (const Stay *stay = tInnermost; stay != nullptr; stay = stay->mOuter) {
      count += &stay->mGate == this ? 1 : 0;
   }
   return count;
}
