#include "libs/utils/DataBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>

namespace {

constexpr int64_t kMost = std::numeric_limits<int32_t>::max();

int32_t Narrow(int64_t value) {
   return static_cast<int32_t>(std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(), kMost));
}

bool IsSize(int64_t capacity, int64_t reserve) {
   return capacity >= 0 && reserve >= 0 && capacity + reserve <= kMost;
}

// Memory for 0 bytes is memory too: null means that there is none.
size_t ToBytes(int64_t size) {
   return static_cast<size_t>(std::max<int64_t>(size, 1));
}

uint8_t *Zeroed(int64_t size) {
   return static_cast<uint8_t *>(std::calloc(1, ToBytes(size)));
}

} // namespace

DataBuffer::~DataBuffer() {
   FreeOwned();
}

// ---- Memory ---------------------------------------------------------------------------------------------------------

int64_t DataBuffer::Room() const {
   if (mData == nullptr) {
      return 0;
   }
   return mOwned ? int64_t{mCapacity} + mReserve : mCapacity;
}

bool DataBuffer::Contains(const void *data) const {
   const std::less<> below; // the addresses of any two objects may be compared with it
   const auto *const byte = static_cast<const uint8_t *>(data);
   return mData != nullptr && !below(byte, mData) && below(byte, mData + Room());
}

void DataBuffer::FreeOwned() {
   if (mOwned) {
      std::free(mData);
   }
   mData = nullptr;
   mOwned = false;
}

bool DataBuffer::Create(int32_t size, int32_t reserve) {
   if (!IsSize(size, reserve)) {
      return false;
   }
   uint8_t *const fresh = Zeroed(int64_t{size} + reserve);
   if (fresh == nullptr) {
      return false;
   }
   FreeOwned();
   mData = fresh;
   mCapacity = size;
   mReserve = reserve;
   mLength = std::min(mLength, size);
   mReadOffset = std::min(mReadOffset, std::max(mLength, 0));
   mOwned = true;
   return true;
}

bool DataBuffer::Reallocate(int64_t capacity, int64_t reserve, Fresh fresh) {
   if (!IsSize(capacity, reserve)) {
      return false;
   }
   const int64_t total = capacity + reserve;
   uint8_t *block = nullptr;
   if (mOwned && fresh == Fresh::AsItComes) {
      block = static_cast<uint8_t *>(std::realloc(mData, ToBytes(total)));
      if (block == nullptr) {
         return false;
      }
   } else {
      block = fresh == Fresh::Zeroed ? Zeroed(total) : static_cast<uint8_t *>(std::malloc(ToBytes(total)));
      if (block == nullptr) {
         return false;
      }
      if (const int64_t kept = std::min(Room(), total); kept > 0) {
         std::memcpy(block, mData, static_cast<size_t>(kept));
      }
      FreeOwned();
   }
   mData = block;
   mCapacity = static_cast<int32_t>(capacity);
   mReserve = static_cast<int32_t>(reserve);
   mOwned = true;
   return true;
}

bool DataBuffer::Resize(int32_t size, int32_t reserve) {
   return Reallocate(size, reserve, Fresh::AsItComes);
}

bool DataBuffer::Prepare(int32_t size) {
   mLength = 0;
   mReadOffset = 0;
   // A capacity without memory is what Reset leaves of a caller's memory.
   if (mCapacity >= size && (mData != nullptr || size <= 0)) {
      return true;
   }
   FreeOwned();
   mCapacity = 0;
   if (!IsSize(size, mReserve)) {
      return false;
   }
   mData = Zeroed(int64_t{mReserve} + size);
   if (mData == nullptr) {
      return false;
   }
   mCapacity = size;
   mOwned = true;
   return true;
}

bool DataBuffer::Reserve(int32_t extra) {
   const int64_t needed = int64_t{mLength} + extra;
   if (needed <= mCapacity) {
      return true;
   }
   return LengthIsReal() && Reallocate(mReserve + needed, mReserve, Fresh::AsItComes);
}

bool DataBuffer::EnsureRoom(int32_t extra) {
   const int64_t needed = int64_t{mLength} + extra;
   if (needed <= mCapacity) {
      return true;
   }
   return LengthIsReal() && Reallocate(mReserve + needed, mReserve, Fresh::Zeroed);
}

void DataBuffer::Release() {
   Free();
   mReserve = 0;
   mLength = 0;
   mReadOffset = 0;
}

void DataBuffer::Free() {
   FreeOwned();
   mCapacity = 0;
}

// ---- Content --------------------------------------------------------------------------------------------------------

bool DataBuffer::Set(const void *data1, int32_t size1, const void *data2, int32_t size2) {
   // Looked at first, so that a second piece that does not fit leaves the first one unwritten.
   const bool fits =
      size1 >= 0 && size2 >= 0 && int64_t{size1} + size2 <= mCapacity && (data2 != nullptr || size2 == 0);
   if (!fits || !Put(0, data1, size1) || !Put(size1, data2, size2)) {
      return false;
   }
   mLength = size1 + size2;
   mReadOffset = 0;
   return true;
}

bool DataBuffer::Append(const void *data, int32_t size, bool grow) {
   if (size < 0 || (data == nullptr && size > 0) || !LengthIsReal()) {
      return false;
   }
   const int64_t needed = int64_t{mLength} + size;
   if (grow && (needed > mCapacity || (mData == nullptr && size > 0))) {
      // Growing may move the memory that the bytes lie in.
      const bool inside = Contains(data);
      const auto offset = inside ? static_cast<const uint8_t *>(data) - mData : 0;
      if (inside && size > Room() - offset) {
         return false;
      }
      if (Reallocate(needed, mReserve, Fresh::AsItComes) && inside) {
         data = mData + offset;
      }
   }
   if (!Put(mLength, data, size)) {
      return false;
   }
   mLength = static_cast<int32_t>(needed);
   return true;
}

bool DataBuffer::Append(const DataBuffer &other, bool grow) {
   return other.LengthIsReal() && Append(other.mData, other.mLength, grow);
}

bool DataBuffer::Attach(void *data, int32_t size) {
   if (size < 0 || (data == nullptr && size > 0) || (mOwned && Contains(data))) {
      return false;
   }
   FreeOwned();
   mData = static_cast<uint8_t *>(data);
   mCapacity = size;
   mLength = size;
   mReadOffset = 0;
   return true;
}

bool DataBuffer::Adopt(DataBuffer &other, bool move) {
   if (!move) {
      return other.LengthIsReal() && Set(other.mData, other.mLength);
   }
   if (&other == this) {
      return true;
   }
   Release();
   mData = std::exchange(other.mData, nullptr);
   mCapacity = std::exchange(other.mCapacity, 0);
   mReserve = std::exchange(other.mReserve, 0);
   mLength = std::exchange(other.mLength, 0);
   other.mReadOffset = 0;
   // What the other one only pointed at stays its owner's; freeing it here would damage the heap.
   mOwned = std::exchange(other.mOwned, false);
   return true;
}

bool DataBuffer::CopyFrom(const DataBuffer &other) {
   const int32_t size = other.mLength;
   if (!other.LengthIsReal() || !Put(0, other.mData, size)) {
      return false;
   }
   mCapacity = size;
   mLength = std::min(mLength, size);
   mReadOffset = std::min(mReadOffset, std::max(mLength, 0));
   return true;
}

// ---- Access ---------------------------------------------------------------------------------------------------------

void DataBuffer::AddLength(int32_t more) {
   mLength = Narrow(int64_t{mLength} + more);
}

int32_t DataBuffer::GetFreeSpace() const {
   return Narrow(int64_t{mCapacity} - mLength);
}

int32_t DataBuffer::GetAllocated() const {
   return Narrow(int64_t{mCapacity} + mReserve);
}

int32_t DataBuffer::GetUnread() const {
   return Narrow(int64_t{mLength} - mReadOffset);
}

uint8_t *DataBuffer::Consume(int32_t n) {
   const int64_t end = int64_t{mReadOffset} + n;
   if (n <= 0 || end > mLength || end > Room()) {
      return nullptr;
   }
   uint8_t *const start = mData + mReadOffset;
   mReadOffset = static_cast<int32_t>(end);
   return start;
}
