#include "lib/mfw/messageframework/recordcursor.h"

namespace CORE {

void recordcursor::Init(uint8_t *data, uint32_t total) {
   mData = data;
   mTotal = total;
   mIndex = 0;
}

uint8_t *recordcursor::Current() const {
   if (mData == nullptr || mIndex >= mTotal / kRecordSize) {
      return nullptr;
   }
   return mData + size_t{mIndex} * kRecordSize;
}

uint8_t *recordcursor::Next() {
   return Skip() ? Current() : nullptr;
}

bool recordcursor::Skip() {
   if (Current() == nullptr) {
      return false;
   }
   ++mIndex;
   return true;
}

} // namespace CORE
