#include "osal/pipewire/LentPicture.h"

#include "osal/pipewire/MemoryFileTestKit.h"
#include "tests/kit/Faults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>
#include <vector>

namespace osal {
namespace {

using Recalled = LentPicture::Recalled;
using testkit::MemoryFile;
using testkit::TestBuffer;

constexpr VideoDimensions kSize{5, 3};
constexpr uint32_t kStride = 8;
constexpr uint32_t kBytes = kStride * 5; // 3 rows of luma, 2 of chroma

class LentPictureTest : public testing::Test {
protected:
   LentPictureTest() {
      EXPECT_TRUE(pool->Fill<LentPicture>(kSize));
      view.size = kSize;
      view.planes[0] = memory->Block(0).data();
      view.planes[1] = memory->Block(0).data() + size_t{kStride} * 3;
      view.strides[0] = kStride;
      view.strides[1] = kStride;
   }

   [[nodiscard]] Ref<SampleBuffer> Lent() {
      lent = static_cast<LentPicture *>(pool->Take());
      lent->Lend(view, memory, ++loan);
      return Ref<SampleBuffer>::adopt(lent);
   }

   // Every byte of the picture, row by row.
   static std::vector<uint8_t> Pixels(const PixelBuffer &pixels) {
      std::vector<uint8_t> bytes;
      for (size_t plane = 0; plane < 2; ++plane) {
         for (size_t y = 0; y < (plane == 0 ? 3U : 2U); ++y) {
            const uint8_t *const row = pixels.baseAddressOfPlane(plane) + y * pixels.bytesPerRowOfPlane(plane);
            bytes.insert(bytes.end(), row, row + (plane == 0 ? 5 : 6));
         }
      }
      return bytes;
   }
   static std::vector<uint8_t> Read(SampleBuffer &sample) {
      PixelBuffer *const pixels = sample.imageBuffer();
      EXPECT_EQ(pixels->lockBaseAddress(), 0);
      std::vector<uint8_t> bytes = Pixels(*pixels);
      pixels->unlockBaseAddress();
      return bytes;
   }

   const MemoryFile file{kBytes};
   std::shared_ptr<const BufferMemory> memory = BufferMemory::Map(TestBuffer({file.Data(0, kBytes)}).buffer);
   std::shared_ptr<SampleBufferPool> pool = std::make_shared<SampleBufferPool>();
   BiPlanarView view;
   LentPicture *lent = nullptr;
   uint64_t loan = 0;
};

TEST_F(LentPictureTest, IsThePictureWhereItLies) {
   const Ref<SampleBuffer> sample = Lent();
   PixelBuffer *const pixels = sample->imageBuffer();
   EXPECT_EQ(sample->dataBuffer(), nullptr);
   EXPECT_EQ(pixels->pixelFormatType(), FourCC("420f"));
   EXPECT_EQ(pixels->width(), 5U);
   EXPECT_EQ(pixels->height(), 3U);
   EXPECT_EQ(pixels->bytesPerRowOfPlane(0), kStride);
   EXPECT_EQ(pixels->bytesPerRowOfPlane(1), kStride);
   EXPECT_EQ(pixels->bytesPerRowOfPlane(2), 0U);
   ASSERT_EQ(pixels->lockBaseAddress(), 0);
   EXPECT_EQ(pixels->baseAddressOfPlane(0), view.planes[0]);
   EXPECT_EQ(pixels->baseAddressOfPlane(1), view.planes[1]);
   EXPECT_EQ(pixels->baseAddressOfPlane(2), nullptr);
}

TEST_F(LentPictureTest, KeepsItsMemoryUntilItIsLetGo) {
   Ref<SampleBuffer> sample = Lent();
   const std::weak_ptr<const BufferMemory> watched = memory;
   memory.reset();
   EXPECT_FALSE(watched.expired());
   static_cast<void>(Read(*sample));
   sample = {};
   EXPECT_TRUE(watched.expired());
}

TEST_F(LentPictureTest, IsUnchangedAfterTheRecallWhateverTheCameraWrites) {
   const Ref<SampleBuffer> sample = Lent();
   const std::vector<uint8_t> before = Read(*sample);
   EXPECT_EQ(lent->Recall(loan), Recalled::Yes);
   file.Write(0, kBytes, 99);
   EXPECT_EQ(Read(*sample), before);
   EXPECT_EQ(sample->imageBuffer()->bytesPerRowOfPlane(0), kStride) << "rows do not change under the reader";
   EXPECT_EQ(lent->Recall(loan), Recalled::Yes) << "once more makes no difference";
   EXPECT_EQ(Read(*sample), before);
}

TEST_F(LentPictureTest, IsNotRecalledWhileItIsBeingRead) {
   const Ref<SampleBuffer> sample = Lent();
   PixelBuffer *const pixels = sample->imageBuffer();
   ASSERT_EQ(pixels->lockBaseAddress(), 0);
   EXPECT_EQ(lent->Recall(loan), Recalled::IsBeingRead);
   pixels->unlockBaseAddress();
   EXPECT_EQ(lent->Recall(loan), Recalled::Yes);
   ASSERT_EQ(pixels->lockBaseAddress(), 0);
   EXPECT_EQ(lent->Recall(loan), Recalled::Yes) << "it has moved: the buffer is free";
}

TEST_F(LentPictureTest, WhoIsReadingDuringARecallAtOnceGoesOnWhereItWas) {
   const Ref<SampleBuffer> sample = Lent();
   PixelBuffer *const pixels = sample->imageBuffer();
   ASSERT_EQ(pixels->lockBaseAddress(), 0);
   const std::vector<uint8_t> before = Pixels(*pixels);
   lent->RecallAtOnce(loan);
   memory.reset();
   EXPECT_EQ(Pixels(*pixels), before);
   EXPECT_EQ(pixels->baseAddressOfPlane(0), view.planes[0]);
   pixels->unlockBaseAddress();
   file.Write(0, kBytes, 99);
   EXPECT_EQ(Read(*sample), before);
}

TEST_F(LentPictureTest, ARecallOfAnotherLoanDoesNothing) {
   Ref<SampleBuffer> sample = Lent();
   sample = {};
   sample = Lent();
   EXPECT_EQ(lent->Recall(loan - 1), Recalled::Yes) << "that one was released";
   lent->RecallAtOnce(loan - 1);
   ASSERT_EQ(sample->imageBuffer()->lockBaseAddress(), 0);
   EXPECT_EQ(sample->imageBuffer()->baseAddressOfPlane(0), view.planes[0]);
}

TEST_F(LentPictureTest, ReleasedWithoutAnUnlockItCanBeLentAgain) {
   Ref<SampleBuffer> sample = Lent();
   ASSERT_EQ(sample->imageBuffer()->lockBaseAddress(), 0);
   sample = {};
   sample = Lent();
   EXPECT_EQ(lent->Recall(loan), Recalled::Yes);
}

TEST_F(LentPictureTest, LentAgainItHasNoAddressOfTheLoanBeforeUntilItIsLocked) {
   Ref<SampleBuffer> sample = Lent();
   static_cast<void>(Read(*sample));
   sample = {};
   sample = Lent();
   EXPECT_EQ(sample->imageBuffer()->baseAddressOfPlane(0), nullptr);
   EXPECT_EQ(sample->imageBuffer()->baseAddressOfPlane(1), nullptr);
}

TEST_F(LentPictureTest, RecalledWithoutMemoryItCannotBeLocked) {
   Ref<SampleBuffer> sample = Lent();
   {
      const kit::FailNth fault(kit::Fault::Allocation, 1);
      EXPECT_EQ(lent->Recall(loan), Recalled::Yes);
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_EQ(sample->imageBuffer()->lockBaseAddress(), ENOMEM);
   sample = {};
   sample = Lent();
   EXPECT_EQ(sample->imageBuffer()->lockBaseAddress(), 0) << "the next picture is another one";
}

TEST_F(LentPictureTest, LendingAllocatesNothingAndRecallingOnlyOnce) {
   static_cast<void>(Lent());
   uint64_t before = kit::AllocationCount();
   for (int i = 0; i < 100; ++i) {
      static_cast<void>(Lent());
   }
   EXPECT_EQ(kit::AllocationCount(), before);
   for (int i = 0; i < 100; ++i) {
      const Ref<SampleBuffer> sample = Lent();
      EXPECT_EQ(lent->Recall(loan), Recalled::Yes);
   }
   EXPECT_EQ(kit::AllocationCount(), before + 1);
}

// For the thread sanitizer: one thread reads and releases while another recalls.
TEST_F(LentPictureTest, IsReadAndReleasedWhileItIsRecalled) {
   for (int i = 0; i < 500; ++i) {
      Ref<SampleBuffer> sample = Lent();
      LentPicture *const picture = lent;
      std::thread other([&sample] {
         static_cast<void>(Read(*sample));
         sample = {};
      });
      while (picture->Recall(loan) == Recalled::IsBeingRead) {
         std::this_thread::yield();
      }
      other.join();
      EXPECT_EQ(pool->Outstanding(), 0U);
   }
}

} // namespace
} // namespace osal
