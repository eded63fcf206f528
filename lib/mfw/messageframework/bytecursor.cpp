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

uint8_t *bytecursor::Peek(size_t size) const {
   return CheckRead(size) ? mData + mConsumed : nullptr;
}

bool bytecursor::Skip(size_t size) {
   return Advance(size, 0);
}

bool bytecursor::ReportShort(size_t size) const {
   MAVR_LOG_ERROR("Not enough buffer left, total=%ld, consumed=%ld, required=%ld", static_cast<long>(mTotal),
                  static_cast<long>(mConsumed), static_cast<long>(size));
   return false;
}

bool bytecursor::ReportNoSize() {
   MAVR_LOG_ERROR("Invalid source length");
   return false;
}

} // namespace CORE
