#include "libs/common/KeyedCounter.h"

bool KeyedCounter::Try(const std::string &key) {
   int32_t &count = mCounts[key];
   if (count >= mLimit) {
      return false;
   }
   ++count;
   return true;
}

void KeyedCounter::Reset() {
   mLimit = kLimit;
   mCounts.clear();
}
