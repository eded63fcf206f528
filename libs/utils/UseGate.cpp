#include "libs/utils/UseGate.h"

#include "osal/SchedulePoint.h"
#include "osal/WaitWord.h"

void UseGate::CloseAndDrain() {
   uint32_t word = mWord.fetch_or(kClosed) | kClosed;
   while (word != kClosed) {
      osal::schedulePoint();
      osal::waitword::waitWhile(mWord, word);
      word = mWord.load();
   }
}

// Nothing of the gate is read after the count has gone down: who drains may free it at that moment. A wake-up needs its
// address only.
void UseGate::Leave() {
   std::atomic<uint32_t> &word = mWord;
   if (word.fetch_sub(1) == (kClosed | 1U)) {
      osal::waitword::wakeAll(word);
   }
}
