#include "osal/pipewire/BufferMemory.h"

#include "osal/pipewire/MemoryFileTestKit.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <vector>

namespace osal {
namespace {

using testkit::MemoryFile;
using testkit::TestBuffer;

TEST(BufferMemory, AFileIsReadFromItsOffsetOnWhereverThatLies) {
   for (const uint32_t offset : {0U, 1U, 4095U, 4096U, 5000U}) {
      const MemoryFile file(offset + 100);
      TestBuffer buffer({file.Data(offset, 100)});
      const auto memory = BufferMemory::Map(buffer.buffer);
      ASSERT_NE(memory, nullptr);
      ASSERT_EQ(memory->Block(0).size(), 100U) << offset;
      EXPECT_EQ(memory->Block(0)[0], file.ByteAt(offset));
      EXPECT_EQ(memory->Block(0)[99], file.ByteAt(offset + 99));
      EXPECT_TRUE(memory->Block(1).empty());
      EXPECT_TRUE(memory->IsLasting());
   }
}

TEST(BufferMemory, OutlivesTheFilesDescriptor) {
   std::shared_ptr<const BufferMemory> memory;
   uint8_t last = 0;
   {
      const MemoryFile file(10'000);
      memory = BufferMemory::Map(TestBuffer({file.Data(0, 10'000)}).buffer);
      last = file.ByteAt(9'999);
   }
   EXPECT_EQ(memory->Block(0)[9'999], last);
}

TEST(BufferMemory, AFileShorterThanItIsSaidToBeIsNotTouched) {
   const MemoryFile file(4096);
   for (const auto &[offset, size] : {std::pair{0U, 4097U}, {1U, 4096U}, {8192U, 1U}, {4096U, 0U}, {1U, UINT32_MAX}}) {
      const auto memory = BufferMemory::Map(TestBuffer({file.Data(offset, size)}).buffer);
      ASSERT_NE(memory, nullptr);
      EXPECT_TRUE(memory->Block(0).empty()) << offset << " " << size;
   }
   spa_data closed = file.Data(0, 100);
   closed.fd = -1;
   EXPECT_TRUE(BufferMemory::Map(TestBuffer({closed}).buffer)->Block(0).empty());
}

TEST(BufferMemory, ASharedMappingIsMappedAgainAndOutlivesTheFirst) {
   const MemoryFile file(20'000);
   void *const first =
      mmap(nullptr, 20'000, PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(file.Data(0, 1).fd), 0);
   ASSERT_NE(first, MAP_FAILED);
   for (const uint32_t offset : {0U, 5000U, 8192U}) {
      spa_data data{};
      data.type = SPA_DATA_MemPtr;
      data.data = static_cast<uint8_t *>(first) + offset;
      data.maxsize = 10'000;
      const auto memory = BufferMemory::Map(TestBuffer({data}).buffer);
      EXPECT_TRUE(memory->IsLasting());
      EXPECT_NE(memory->Block(0).data(), data.data);
      ASSERT_EQ(memory->Block(0).size(), 10'000U);
      if (offset == 8192) {
         munmap(first, 20'000);
      }
      EXPECT_EQ(memory->Block(0)[0], file.ByteAt(offset));
      EXPECT_EQ(memory->Block(0)[9'999], file.ByteAt(offset + 9'999));
   }
}

TEST(BufferMemory, ABlockInMemoryOfThisProcessIsReadButDoesNotLast) {
   std::vector<uint8_t> bytes(50, 7);
   spa_data data{};
   data.type = SPA_DATA_MemPtr;
   data.data = bytes.data();
   data.maxsize = 50;
   const MemoryFile file(100);
   const auto memory = BufferMemory::Map(TestBuffer({file.Data(0, 100), data}).buffer);
   EXPECT_EQ(memory->Block(1).data(), bytes.data());
   EXPECT_EQ(memory->Block(1).size(), 50U);
   EXPECT_EQ(memory->Block(0).size(), 100U);
   EXPECT_FALSE(memory->IsLasting());
}

// A driver's buffers come as memory files too, of which fstat need not know the size.
TEST(BufferMemory, TheMemoryOfADeviceIsReadButNotKept) {
   const int device = open("/dev/zero", O_RDONLY | O_CLOEXEC);
   ASSERT_GE(device, 0);
   const MemoryFile file(100);
   spa_data data = file.Data(0, 5000);
   data.fd = device;
   const auto memory = BufferMemory::Map(TestBuffer({data, file.Data(0, 100)}).buffer);
   close(device);
   ASSERT_EQ(memory->Block(0).size(), 5000U);
   EXPECT_EQ(memory->Block(0)[4999], 0);
   EXPECT_EQ(memory->Block(1).size(), 100U);
   EXPECT_FALSE(memory->IsLasting());
}

TEST(BufferMemory, WhatCannotBeMappedIsEmpty) {
   const int folder = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
   ASSERT_GE(folder, 0);
   const MemoryFile file(100);
   spa_data data = file.Data(0, 100);
   data.fd = folder;
   EXPECT_TRUE(BufferMemory::Map(TestBuffer({data}).buffer)->Block(0).empty());
   close(folder);
}

TEST(BufferMemory, OtherKindsOfBlocksAndThoseBeyondTheSecondAreEmpty) {
   const MemoryFile file(100);
   spa_data dma = file.Data(0, 100);
   dma.type = SPA_DATA_DmaBuf;
   const auto memory = BufferMemory::Map(TestBuffer({dma, file.Data(0, 100), file.Data(0, 100)}).buffer);
   EXPECT_TRUE(memory->Block(0).empty());
   EXPECT_EQ(memory->Block(1).size(), 100U);
   EXPECT_TRUE(memory->Block(2).empty());
   EXPECT_TRUE(BufferMemory::Map(TestBuffer({}).buffer)->Block(0).empty());
}

} // namespace
} // namespace osal
