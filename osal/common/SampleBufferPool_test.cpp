#include "osal/common/SampleBufferPool.h"

#include "osal/common/FrameBuffer.h"
#include "osal/common/SoundBuffer.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace osal {
namespace {

std::shared_ptr<SampleBufferPool> PoolOf(size_t count) {
   auto pool = std::make_shared<SampleBufferPool>();
   for (size_t i = 0; i < count; ++i) {
      auto sound = std::make_unique<SoundBuffer>();
      EXPECT_TRUE(sound->Allocate(16));
      pool->Add(std::move(sound));
   }
   return pool;
}

Ref<SampleBuffer> Taken(SampleBufferPool &pool) {
   return Ref<SampleBuffer>::adopt(pool.Take());
}

TEST(SampleBufferPool, ABufferComesBackWithItsLastReferenceAndIsTheNextToBeTaken) {
   const auto pool = PoolOf(2);
   Ref<SampleBuffer> first = Taken(*pool);
   Ref<SampleBuffer> second = Taken(*pool);
   EXPECT_NE(first.get(), second.get());
   EXPECT_EQ(pool->Outstanding(), 2u);
   EXPECT_EQ(pool->Take(), nullptr);
   SampleBuffer *const address = second.get();
   Ref<SampleBuffer> copy = second;
   second = {};
   EXPECT_EQ(pool->Outstanding(), 2u);
   copy = {};
   EXPECT_EQ(pool->Outstanding(), 1u);
   EXPECT_EQ(Taken(*pool).get(), address);
}

TEST(SampleBufferPool, ABufferLetsGoOfWhatItStandsForBeforeItIsAtHome) {
   struct Standing final : PooledSampleBuffer {
      std::shared_ptr<int> held;
      SampleBufferPool *home = nullptr;
      void LetGo() override {
         held.reset();
         EXPECT_EQ(home->Outstanding(), 1u);
      }
   };
   const auto pool = std::make_shared<SampleBufferPool>();
   auto made = std::make_unique<Standing>();
   Standing *const standing = made.get();
   standing->home = pool.get();
   pool->Add(std::move(made));
   const auto thing = std::make_shared<int>(1);
   Ref<SampleBuffer> buffer = Taken(*pool);
   standing->held = thing;
   buffer = {};
   EXPECT_EQ(thing.use_count(), 1);
   EXPECT_EQ(pool->Outstanding(), 0u);
}

TEST(SampleBufferPool, NoMoreAreGivenThanAsked) {
   const auto pool = PoolOf(3);
   const Ref<SampleBuffer> one = Taken(*pool);
   EXPECT_EQ(pool->Take(1), nullptr);
   EXPECT_EQ(pool->Take(0), nullptr);
   const Ref<SampleBuffer> two = Ref<SampleBuffer>::adopt(pool->Take(2));
   EXPECT_NE(two.get(), nullptr);
   EXPECT_EQ(pool->Take(2), nullptr);
}

TEST(SampleBufferPool, OnlyAReturnThatIsAwaitedRaisesTheSignal) {
   const auto pool = PoolOf(1);
   uint32_t seen = pool->Signal().Look();
   Ref<SampleBuffer> buffer = Taken(*pool);
   buffer = {};
   EXPECT_EQ(pool->Signal().Look(), seen);
   buffer = Taken(*pool);
   EXPECT_EQ(pool->Take(), nullptr);
   buffer = {};
   EXPECT_NE(pool->Signal().Look(), seen);
}

TEST(SampleBufferPool, LivesUntilItsLastBufferIsLetGo) {
   auto pool = PoolOf(3);
   const std::weak_ptr<SampleBufferPool> watched = pool;
   Ref<SampleBuffer> one = Taken(*pool);
   Ref<SampleBuffer> two = Taken(*pool);
   pool.reset();
   one = {};
   EXPECT_FALSE(watched.expired());
   size_t length = 0;
   const char *data = nullptr;
   EXPECT_EQ(two->dataBuffer()->getDataPointer(0, &length, &data), 0);
   two = {};
   EXPECT_TRUE(watched.expired());
}

TEST(SampleBufferPool, BuffersComeBackOnOtherThreads) {
   const auto pool = PoolOf(4);
   for (int i = 0; i < 500; ++i) {
      std::vector<std::thread> holders;
      for (int holder = 0; holder < 2; ++holder) {
         holders.emplace_back([buffer = Taken(*pool)] { EXPECT_NE(buffer.get(), nullptr); });
      }
      for (std::thread &holder : holders) {
         holder.join();
      }
      holders.clear();
      ASSERT_EQ(pool->Outstanding(), 0u);
   }
}

TEST(FrameBuffer, PlanesLieBehindEachOtherAndRowsAreAligned) {
   FrameBuffer frame;
   ASSERT_TRUE(frame.Allocate({641, 481}));
   EXPECT_EQ(frame.Stride(), 704u);
   EXPECT_EQ(FrameBuffer::Bytes({641, 481}), 704u * (481 + 241));
   EXPECT_EQ(frame.bytesPerRowOfPlane(0), 704u);
   EXPECT_EQ(frame.bytesPerRowOfPlane(1), 704u);
   EXPECT_EQ(frame.bytesPerRowOfPlane(2), 0u);
   EXPECT_EQ(frame.baseAddressOfPlane(0), frame.Luma());
   EXPECT_EQ(frame.baseAddressOfPlane(1), frame.Luma() + 704 * 481);
   EXPECT_EQ(frame.baseAddressOfPlane(1), frame.Chroma());
   EXPECT_EQ(frame.baseAddressOfPlane(2), nullptr);
   frame.Shape({2, 2});
   EXPECT_EQ(frame.width(), 2u);
   EXPECT_EQ(frame.Stride(), 64u);
   EXPECT_EQ(frame.Chroma(), frame.Luma() + 128);
   EXPECT_EQ(FrameBuffer::Bytes({16384, 16384}), uint64_t{16384} * 16384 * 3 / 2);
}

} // namespace
} // namespace osal
