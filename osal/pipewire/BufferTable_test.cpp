#include "osal/pipewire/BufferTable.h"

#include "osal/pipewire/MemoryFileTestKit.h"
#include "tests/kit/Faults.h"

#include <gtest/gtest.h>

#include <deque>
#include <vector>

namespace osal {
namespace {

using testkit::MemoryFile;
using testkit::TestBuffer;

constexpr uint32_t kBytes = 12; // 4x2

class BufferTableTest : public testing::Test {
protected:
   // The number of the buffer stands for what a stream knows it by.
   void *HandleOf(size_t number) { return &handles[number]; }

   void Add(size_t count) {
      for (size_t i = 0; i < count; ++i) {
         table.Add(HandleOf(i), TestBuffer({file.Data(0, kBytes)}).buffer);
      }
   }
   [[nodiscard]] Ref<SampleBuffer> Lend(size_t number) {
      BiPlanarView view;
      view.size = {4, 2};
      if (const auto memory = table.MemoryOf(HandleOf(number))) {
         view.planes[0] = memory->Block(0).data();
         view.planes[1] = view.planes[0] + 8;
      }
      view.strides[0] = 4;
      view.strides[1] = 4;
      return Ref<SampleBuffer>::adopt(table.Lend(HandleOf(number), view));
   }
   const MemoryFile file{kBytes};
   std::vector<int> handles = std::vector<int>(100);
   BufferTable table;
};

TEST_F(BufferTableTest, OneAtATimeIsOutUntilItIsTakenBack) {
   Add(5);
   EXPECT_EQ(table.TakeBack(), nullptr);
   Ref<SampleBuffer> first = Lend(1);
   ASSERT_TRUE(first);
   EXPECT_FALSE(Lend(2));
   first = {};
   EXPECT_FALSE(Lend(2)) << "released, but nobody has taken notice";
   EXPECT_EQ(table.TakeBack(), HandleOf(1));
   EXPECT_EQ(table.TakeBack(), nullptr);
   EXPECT_TRUE(Lend(2));
   EXPECT_EQ(table.TakeBack(), HandleOf(2));
}

TEST_F(BufferTableTest, APictureThatIsKeptMovesWhenItsBufferIsTakenBack) {
   Add(5);
   const Ref<SampleBuffer> kept = Lend(0);
   const uint8_t first = file.ByteAt(0);
   EXPECT_EQ(table.TakeBack(), HandleOf(0));
   file.Write(0, kBytes, 77);
   ASSERT_EQ(kept->imageBuffer()->lockBaseAddress(), 0);
   EXPECT_EQ(kept->imageBuffer()->baseAddressOfPlane(0)[0], first);
}

TEST_F(BufferTableTest, WhatIsBeingReadIsTakenBackOnlyAtOnce) {
   Add(5);
   const Ref<SampleBuffer> kept = Lend(3);
   ASSERT_EQ(kept->imageBuffer()->lockBaseAddress(), 0);
   EXPECT_EQ(table.TakeBack(), nullptr);
   EXPECT_FALSE(Lend(4));
   EXPECT_EQ(table.TakeBackAtOnce(), HandleOf(3));
   EXPECT_EQ(table.TakeBackAtOnce(), nullptr);
   EXPECT_TRUE(Lend(4));
}

TEST_F(BufferTableTest, FewBuffersAreLeftToTheCamera) {
   Add(BufferTable::kFewest - 1);
   EXPECT_FALSE(Lend(0));
   table.Add(HandleOf(50), TestBuffer({file.Data(0, kBytes)}).buffer);
   EXPECT_TRUE(Lend(0));
}

TEST_F(BufferTableTest, ARemovedBufferIsNotTakenBack) {
   Add(6);
   const Ref<SampleBuffer> out = Lend(0);
   table.Remove(HandleOf(0));
   table.Remove(HandleOf(99)); // unknown
   EXPECT_EQ(table.TakeBack(), nullptr);
   EXPECT_EQ(table.MemoryOf(HandleOf(0)), nullptr);
   EXPECT_FALSE(Lend(0));
   EXPECT_EQ(out->imageBuffer()->lockBaseAddress(), 0);
   const Ref<SampleBuffer> other = Lend(2);
   ASSERT_TRUE(other);
   table.Remove(HandleOf(1));
   EXPECT_EQ(table.TakeBack(), HandleOf(2));
}

TEST_F(BufferTableTest, PicturesOutliveTheirBuffersUnchanged) {
   Add(8);
   const Ref<SampleBuffer> picture = Lend(7);
   const uint8_t last = file.ByteAt(kBytes - 1);
   table.RemoveAll();
   EXPECT_EQ(table.MemoryOf(HandleOf(0)), nullptr);
   file.Write(0, kBytes, 50);
   ASSERT_EQ(picture->imageBuffer()->lockBaseAddress(), 0);
   EXPECT_EQ(picture->imageBuffer()->baseAddressOfPlane(1)[3], last);
   EXPECT_EQ(table.TakeBack(), nullptr);
}

TEST_F(BufferTableTest, MemoryThatEndsWithTheStreamIsNotLent) {
   Add(8);
   std::vector<uint8_t> bytes(kBytes);
   spa_data data{};
   data.type = SPA_DATA_MemPtr;
   data.data = bytes.data();
   data.maxsize = kBytes;
   table.Add(HandleOf(50), TestBuffer({data}).buffer);
   EXPECT_NE(table.MemoryOf(HandleOf(50)), nullptr);
   EXPECT_FALSE(Lend(50));
}

TEST_F(BufferTableTest, WithAllPicturesKeptNothingIsLent) {
   Add(8);
   std::vector<Ref<SampleBuffer>> kept;
   for (size_t i = 0; i < SampleBufferPool::kBuffers; ++i) {
      kept.push_back(Lend(0));
      ASSERT_TRUE(kept.back());
      ASSERT_EQ(table.TakeBack(), HandleOf(0));
   }
   EXPECT_FALSE(Lend(0));
   EXPECT_EQ(table.TakeBack(), nullptr);
   kept.pop_back();
   EXPECT_TRUE(Lend(0));
}

TEST_F(BufferTableTest, WithoutMemoryABufferIsNotAddedAndTheOthersServe) {
   Add(5);
   const TestBuffer buffer({file.Data(0, kBytes)});
   for (uint64_t nth = 1;; ++nth) {
      kit::FailNth fault(kit::Fault::Allocation, nth);
      table.Add(HandleOf(60), buffer.buffer);
      const bool struck = fault.Struck();
      fault.Disarm();
      if (!struck) {
         break;
      }
      EXPECT_EQ(table.MemoryOf(HandleOf(60)), nullptr) << nth;
   }
   EXPECT_NE(table.MemoryOf(HandleOf(60)), nullptr);
   EXPECT_TRUE(Lend(0));
}

} // namespace
} // namespace osal
