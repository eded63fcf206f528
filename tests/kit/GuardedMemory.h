#pragma once

#include <cstddef>
#include <cstdint>

namespace kit {

/// Bytes whose end is the end of what the process may touch: one read or write behind them ends the test, also in
/// libraries that no sanitizer looks into. Before them lie marks, which IsIntactBefore holds against. Owner: the test.
class GuardedMemory {
public:
   explicit GuardedMemory(size_t size, uint8_t fill = 0);
   ~GuardedMemory();
   GuardedMemory(const GuardedMemory &) = delete;
   GuardedMemory &operator=(const GuardedMemory &) = delete;

   [[nodiscard]] uint8_t *Data() const { return mData; }
   [[nodiscard]] size_t Size() const { return mSize; }
   [[nodiscard]] uint8_t *begin() const { return mData; }
   [[nodiscard]] uint8_t *end() const { return mData + mSize; }
   /// Whether nothing has been written in front of the bytes.
   [[nodiscard]] bool IsIntactBefore() const;

private:
   size_t mSize;
   size_t mMappedSize;
   uint8_t *mMapped;
   uint8_t *mData;
};

} // namespace kit
