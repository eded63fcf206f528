#include "tests/kit/GuardedMemory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace kit {
namespace {

constexpr uint8_t kMark = 0xA5;

} // namespace

GuardedMemory::GuardedMemory(size_t size, uint8_t fill)
    : mSize(size) {
   const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
   const size_t usable = (size / page + 2) * page;
   mMappedSize = usable + page;
   void *const mapped = mmap(nullptr, mMappedSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
   if (mapped == MAP_FAILED || mprotect(static_cast<uint8_t *>(mapped) + usable, page, PROT_NONE) != 0) {
      throw std::bad_alloc();
   }
   mMapped = static_cast<uint8_t *>(mapped);
   mData = mMapped + usable - size;
   std::memset(mMapped, kMark, usable - size);
   std::memset(mData, fill, size);
}

GuardedMemory::~GuardedMemory() {
   (void)munmap(mMapped, mMappedSize);
}

bool GuardedMemory::IsIntactBefore() const {
   return std::all_of(mMapped, mData, [](uint8_t byte) { return byte == kMark; });
}

} // namespace kit
