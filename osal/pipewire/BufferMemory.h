#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

struct spa_buffer;

namespace osal {

/// The blocks of one of the daemon's buffers, mapped for reading.
///
/// Owner: the stream, and each picture that is lent from it: the memory can be read for as long as one of them is
/// there, whatever becomes of the stream. Threads: any. Immutable.
class BufferMemory {
public:
   /// Maps each block that is a memory file, which has to be as long as it is said to be, or the memory of a device,
   /// and maps again what the client library has mapped from one; takes the address of other memory. Blocks of other
   /// kinds, and files that can't be mapped, are empty. Null without memory.
   [[nodiscard]] static std::shared_ptr<const BufferMemory> Map(const spa_buffer &buffer);
   ~BufferMemory();
   BufferMemory(const BufferMemory &) = delete;
   BufferMemory &operator=(const BufferMemory &) = delete;

   /// All bytes of a block; empty for one that is not.
   [[nodiscard]] std::span<const uint8_t> Block(size_t index) const;
   /// Whether the blocks may be kept when the stream has ended: not those of a device, nor memory that is another's.
   [[nodiscard]] bool IsLasting() const { return mIsLasting; }

private:
   static constexpr size_t kBlocks = 2; // more are not needed by any format
   struct Mapping {
      void *start = nullptr;
      size_t length = 0;
   };
   BufferMemory() = default;
   void MapBlock(const spa_buffer &buffer, size_t index);
   void MapFile(int file, uint64_t offset, size_t size, size_t index);
   [[nodiscard]] bool MapAgain(void *data, size_t size, size_t index);
   bool Keep(void *mapped, size_t before, size_t size, size_t index);

   std::span<const uint8_t> mBlocks[kBlocks];
   Mapping mMappings[kBlocks];
   bool mIsLasting = true;
};

} // namespace osal
