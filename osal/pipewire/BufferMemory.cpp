#include "osal/pipewire/BufferMemory.h"

#include <new>
#include <spa/buffer/buffer.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace osal {
namespace {

uint64_t PageSize() {
   static const auto size = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
   return size;
}

} // namespace

std::shared_ptr<const BufferMemory> BufferMemory::Map(const spa_buffer &buffer) {
   try {
      const std::shared_ptr<BufferMemory> memory(new BufferMemory);
      for (size_t i = 0; i < kBlocks && i < buffer.n_datas; ++i) {
         memory->MapBlock(buffer, i);
      }
      return memory;
   } catch (const std::bad_alloc &) {
      return nullptr;
   }
}

void BufferMemory::MapBlock(const spa_buffer &buffer, size_t index) {
   const spa_data &data = buffer.datas[index];
   if (data.maxsize == 0) {
      return;
   }
   switch (data.type) {
   case SPA_DATA_MemFd:
      MapFile(static_cast<int>(data.fd), data.mapoffset, data.maxsize, index);
      break;
   case SPA_DATA_MemPtr:
      if (data.data != nullptr && !MapAgain(data.data, data.maxsize, index)) {
         mBlocks[index] = {static_cast<const uint8_t *>(data.data), data.maxsize};
         mIsLasting = false;
      }
      break;
   default:
      break;
   }
}

// To read behind the end of a file would be the end of this process. A device has no such end: it refuses to map what
// it has not. What is kept of it would stand in its way when the camera is to change its format.
void BufferMemory::MapFile(int file, uint64_t offset, size_t size, size_t index) {
   struct stat facts {};
   if (fstat(file, &facts) != 0) {
      return;
   }
   if (!S_ISREG(facts.st_mode)) {
      mIsLasting = false;
   } else if (static_cast<uint64_t>(facts.st_size) < offset + size) {
      return;
   }
   const uint64_t before = offset % PageSize();
   void *const mapped = mmap(nullptr, before + size, PROT_READ, MAP_SHARED, file, static_cast<off_t>(offset - before));
   Keep(mapped, before, size, index);
}

// The client library has mapped what the daemon shares, and unmaps it when the stream ends. An old size of 0 maps the
// same pages a second time; memory that is no shared mapping is refused.
bool BufferMemory::MapAgain(void *data, size_t size, size_t index) {
   const uint64_t before = reinterpret_cast<uintptr_t>(data) % PageSize();
   void *const mapped = mremap(static_cast<uint8_t *>(data) - before, 0, before + size, MREMAP_MAYMOVE);
   return Keep(mapped, before, size, index);
}

bool BufferMemory::Keep(void *mapped, size_t before, size_t size, size_t index) {
   if (mapped == MAP_FAILED) {
      return false;
   }
   mMappings[index] = {mapped, before + size};
   mBlocks[index] = {static_cast<const uint8_t *>(mapped) + before, size};
   return true;
}

BufferMemory::~BufferMemory() {
   for (const Mapping &mapping : mMappings) {
      if (mapping.start != nullptr) {
         munmap(mapping.start, mapping.length);
      }
   }
}

std::span<const uint8_t> BufferMemory::Block(size_t index) const {
   return index < kBlocks ? mBlocks[index] : std::span<const uint8_t>();
}

} // namespace osal
