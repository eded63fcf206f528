#pragma once

#include <cstdint>
#include <spa/buffer/buffer.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace osal::testkit {

/// A memory file as the daemon shares them, each byte of which has a value of its own.
class MemoryFile {
public:
   explicit MemoryFile(uint32_t size)
       : mFile(memfd_create("picture", MFD_CLOEXEC)) {
      Write(0, size, 0);
   }
   ~MemoryFile() { close(mFile); }
   MemoryFile(const MemoryFile &) = delete;
   MemoryFile &operator=(const MemoryFile &) = delete;

   [[nodiscard]] uint8_t ByteAt(uint32_t at) const {
      uint8_t byte = 0;
      return pread(mFile, &byte, 1, at) == 1 ? byte : uint8_t{0};
   }
   /// Bytes from `offset` on become those of another picture.
   void Write(uint32_t offset, uint32_t size, uint32_t picture) const {
      std::vector<uint8_t> bytes(size);
      for (uint32_t i = 0; i < size; ++i) {
         bytes[i] = static_cast<uint8_t>((offset + i) * 31 + (offset + i) / 256 + picture);
      }
      static_cast<void>(pwrite(mFile, bytes.data(), size, offset) == static_cast<ssize_t>(size));
   }
   /// A block of a buffer that lies in it.
   [[nodiscard]] spa_data Data(uint32_t offset, uint32_t size) const {
      spa_data data{};
      data.type = SPA_DATA_MemFd;
      data.fd = mFile;
      data.mapoffset = offset;
      data.maxsize = size;
      return data;
   }

private:
   const int mFile;
};

/// A buffer of the daemon with these blocks.
struct TestBuffer {
   explicit TestBuffer(std::vector<spa_data> data)
       : blocks(std::move(data)) {
      buffer.n_datas = static_cast<uint32_t>(blocks.size());
      buffer.datas = blocks.data();
   }
   TestBuffer(const TestBuffer &) = delete;
   TestBuffer &operator=(const TestBuffer &) = delete;

   std::vector<spa_data> blocks;
   spa_buffer buffer{};
};

} // namespace osal::testkit
