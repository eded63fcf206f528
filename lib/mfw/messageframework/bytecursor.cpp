#include "lib/mfw/messageframework/bytecursor.h"

#include "lib/mfw/common/logger.h"

#include <cstring>

namespace CORE {

void bytecursor::Init(uint8_t *data, uint32_t total) {
   mData = data;
   mTotal = total;
   mConsumed = 0;
}

bool bytecursor::CheckWrite(const void *data, size_t size) const {
   if (data == nullptr || size == 0) {
      MAVR_LOG_ERROR("Invalid input buffer");
      return false;
   }
   return HasLeft(size);
}

bool bytecursor::Write(const void *data, size_t size) {
   return WriteCounted(data, size, 0);
}

bool bytecursor::WriteCounted(const void *data, size_t size, uint32_t chars) {
   if (!CheckWrite(data, size)) {
      return false;
   }
   std::memmove(mData + mConsumed, data, size);
   mConsumed += static_cast<uint32_t>(size);
   mCount += chars;
   return true;
}

bool bytecursor::CheckRead(size_t size) const {
   if (size == 0) {
      MAVR_LOG_ERROR("Invalid source length");
      return false;
   }
   return HasLeft(size);
}

bool bytecursor::Advance(size_t size, uint32_t chars) {
   if (!CheckRead(size)) {
      return false;
   }
   mConsumed += static_cast<uint32_t>(size);
   mCount += chars;
   return true;
}

uint8_t *bytecursor::Peek(size_t size) const {
   return CheckRead(size) ? mData + mConsumed : nullptr;
}

bool bytecursor::Skip(size_t size) {
   return Advance(size, 0);
}

uint8_t *bytecursor::GetRemaining(uint32_t &outSize) const {
   outSize = Left();
   return outSize != 0 ? mData + mConsumed : nullptr;
}

uint32_t bytecursor::Left() const {
   return mData == nullptr || mConsumed >= mTotal ? 0 : mTotal - mConsumed;
}

bool bytecursor::HasLeft(size_t size) const {
   if (size > Left()) {
      MAVR_LOG_ERROR("Not enough buffer left, total=%ld, consumed=%ld, required=%ld", static_cast<long>(mTotal),
                     static_cast<long>(mConsumed), static_cast<long>(size));
      return false;
   }
   return true;
}

} // namespace CORE
