#include "osal/pipewire/PipewirePicture.h"

#include <gtest/gtest.h>

#include <cstdio> // jpeglib.h needs it
#include <jpeglib.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace osal {
namespace {

// What a pixel and a pair of chroma samples are in the test pictures: every place has values of its own.
uint8_t LumaAt(int x, int y) {
   return static_cast<uint8_t>(16 + (7 * x + 13 * y) % 200);
}
uint8_t CbAt(int x, int y) {
   return static_cast<uint8_t>(40 + (5 * x + 3 * y) % 150);
}
uint8_t CrAt(int x, int y) {
   return static_cast<uint8_t>(60 + (3 * x + 11 * y) % 150);
}

constexpr VideoDimensions kSizes[] = {{8, 4}, {9, 5}, {1, 1}, {2, 2}, {31, 17}};

int Half(int side) {
   return (side + 1) / 2;
}

void AppendPlane(std::vector<uint8_t> *bytes, int width, int height, int stride, uint8_t (*at)(int, int)) {
   for (int y = 0; y < height; ++y) {
      for (int x = 0; x < stride; ++x) {
         bytes->push_back(x < width ? at(x, y) : uint8_t{0xEE});
      }
   }
}

void AppendPairs(std::vector<uint8_t> *bytes, VideoDimensions size, int stride, bool crFirst) {
   for (int y = 0; y < Half(size.height); ++y) {
      for (int x = 0; x < stride; ++x) {
         const bool isCr = (x % 2 == 1) != crFirst;
         bytes->push_back(x < 2 * Half(size.width) ? (isCr ? CrAt : CbAt)(x / 2, y) : uint8_t{0xEE});
      }
   }
}

class PipewirePictureTest : public testing::Test {
protected:
   [[nodiscard]] bool Convert(PipewirePixels pixels, VideoDimensions size, const std::vector<uint8_t> &bytes,
                              int32_t stride, PipewirePicture::Block second = {}) {
      EXPECT_TRUE(frame.Allocate(size));
      PipewirePicture picture;
      picture.pixels = pixels;
      picture.size = size;
      picture.first = {bytes, stride};
      picture.second = second;
      return ToBiPlanar(picture, &frame, &scratch);
   }

   void ExpectPicture(VideoDimensions size, const std::string &what, int tolerance = 0) {
      for (int y = 0; y < size.height; ++y) {
         for (int x = 0; x < size.width; ++x) {
            const int luma = frame.Luma()[static_cast<size_t>(y) * frame.Stride() + static_cast<size_t>(x)];
            ASSERT_LE(std::abs(luma - LumaAt(x, y)), tolerance) << what << " luma " << x << "," << y;
         }
      }
      for (int y = 0; y < Half(size.height); ++y) {
         for (int x = 0; x < Half(size.width); ++x) {
            const uint8_t *const pair = frame.Chroma() + static_cast<size_t>(y) * frame.Stride() + 2 * size_t(x);
            ASSERT_LE(std::abs(pair[0] - CbAt(x, y)), tolerance) << what << " cb " << x << "," << y;
            ASSERT_LE(std::abs(pair[1] - CrAt(x, y)), tolerance) << what << " cr " << x << "," << y;
         }
      }
   }

   FrameBuffer frame;
   std::vector<uint8_t> scratch;
};

TEST_F(PipewirePictureTest, SemiPlanarInOneBlock) {
   for (const VideoDimensions size : kSizes) {
      for (const int stride : {2 * Half(size.width), 2 * Half(size.width) + 6}) {
         for (const bool crFirst : {false, true}) {
            std::vector<uint8_t> bytes;
            AppendPlane(&bytes, size.width, size.height, stride, LumaAt);
            AppendPairs(&bytes, size, stride, crFirst);
            ASSERT_TRUE(Convert(crFirst ? PipewirePixels::NV21 : PipewirePixels::NV12, size, bytes, stride));
            ExpectPicture(size, "one block, stride " + std::to_string(stride));
         }
      }
   }
}

TEST_F(PipewirePictureTest, SemiPlanarInTwoBlocksWithStridesOfTheirOwn) {
   const VideoDimensions size{9, 5};
   std::vector<uint8_t> luma;
   std::vector<uint8_t> chroma;
   AppendPlane(&luma, size.width, size.height, 16, LumaAt);
   AppendPairs(&chroma, size, 12, false);
   ASSERT_TRUE(Convert(PipewirePixels::NV12, size, luma, 16, {chroma, 12}));
   ExpectPicture(size, "two blocks");
}

TEST_F(PipewirePictureTest, PlanarInBothOrders) {
   for (const VideoDimensions size : kSizes) {
      const int stride = 2 * Half(size.width) + 4;
      for (const bool crFirst : {false, true}) {
         std::vector<uint8_t> bytes;
         AppendPlane(&bytes, size.width, size.height, stride, LumaAt);
         AppendPlane(&bytes, Half(size.width), Half(size.height), stride / 2, crFirst ? CrAt : CbAt);
         AppendPlane(&bytes, Half(size.width), Half(size.height), stride / 2, crFirst ? CbAt : CrAt);
         ASSERT_TRUE(Convert(crFirst ? PipewirePixels::YV12 : PipewirePixels::I420, size, bytes, stride));
         ExpectPicture(size, crFirst ? "YV12" : "I420");
      }
   }
}

// Both rows of a block carry the same chroma, so that taking their mean changes nothing. Every width has a right edge
// of its own behind what is converted many pixels at a time.
TEST_F(PipewirePictureTest, PackedInBothOrdersAtEveryWidth) {
   for (int width = 1; width <= 130; ++width) {
      for (const VideoDimensions size : {VideoDimensions{width, 1}, {width, 4}, {width, 5}}) {
         for (const bool lumaFirst : {true, false}) {
            std::vector<uint8_t> bytes;
            for (int y = 0; y < size.height; ++y) {
               for (int x = 0; x < Half(size.width); ++x) {
                  const uint8_t luma[2] = {LumaAt(2 * x, y), LumaAt(2 * x + 1, y)};
                  const uint8_t chroma[2] = {CbAt(x, y / 2), CrAt(x, y / 2)};
                  for (int i = 0; i < 2; ++i) {
                     bytes.push_back(lumaFirst ? luma[i] : chroma[i]);
                     bytes.push_back(lumaFirst ? chroma[i] : luma[i]);
                  }
               }
            }
            ASSERT_TRUE(Convert(lumaFirst ? PipewirePixels::YUY2 : PipewirePixels::UYVY, size, bytes, 0));
            ExpectPicture(size, (lumaFirst ? "YUY2 of width " : "UYVY of width ") + std::to_string(width));
         }
      }
   }
}

// Grey in any order of the colours is luma by the usual formula and no chroma.
TEST_F(PipewirePictureTest, ColoursByTheirOrderInMemory) {
   const VideoDimensions size{6, 4};
   struct Case {
      PipewirePixels pixels;
      int bytes;
      int red;
   };
   for (const Case &c : {Case{PipewirePixels::BGRx, 4, 2}, Case{PipewirePixels::RGBx, 4, 0},
                         Case{PipewirePixels::RGB, 3, 0}, Case{PipewirePixels::BGR, 3, 2}}) {
      std::vector<uint8_t> bytes(static_cast<size_t>(size.width * size.height * c.bytes), 0);
      for (size_t i = 0; i < bytes.size(); i += static_cast<size_t>(c.bytes)) {
         bytes[i + static_cast<size_t>(c.red)] = 255;
      }
      ASSERT_TRUE(Convert(c.pixels, size, bytes, size.width * c.bytes));
      EXPECT_NEAR(frame.Luma()[0], 82, 2) << "red, limited range";
      EXPECT_NEAR(frame.Chroma()[0], 90, 2);
      EXPECT_NEAR(frame.Chroma()[1], 240, 2);
   }
}

std::vector<uint8_t> GreyJpeg(VideoDimensions size, uint8_t grey) {
   jpeg_compress_struct jpeg{};
   jpeg_error_mgr errors{};
   jpeg.err = jpeg_std_error(&errors);
   jpeg_create_compress(&jpeg);
   unsigned char *memory = nullptr;
   unsigned long length = 0;
   jpeg_mem_dest(&jpeg, &memory, &length);
   jpeg.image_width = static_cast<JDIMENSION>(size.width);
   jpeg.image_height = static_cast<JDIMENSION>(size.height);
   jpeg.input_components = 3;
   jpeg.in_color_space = JCS_YCbCr;
   jpeg_set_defaults(&jpeg);
   jpeg_start_compress(&jpeg, TRUE);
   std::vector<uint8_t> row;
   for (int x = 0; x < size.width; ++x) {
      row.insert(row.end(), {grey, 128, 128});
   }
   while (jpeg.next_scanline < jpeg.image_height) {
      JSAMPROW rows[] = {row.data()};
      jpeg_write_scanlines(&jpeg, rows, 1);
   }
   jpeg_finish_compress(&jpeg);
   jpeg_destroy_compress(&jpeg);
   std::vector<uint8_t> bytes(memory, memory + length);
   std::free(memory);
   return bytes;
}

TEST_F(PipewirePictureTest, JpegOfTheStatedSizeOnly) {
   const std::vector<uint8_t> jpeg = GreyJpeg({32, 16}, 200);
   ASSERT_TRUE(Convert(PipewirePixels::MJPG, {32, 16}, jpeg, 0));
   EXPECT_NEAR(frame.Luma()[0], 200, 2);
   EXPECT_NEAR(frame.Chroma()[0], 128, 2);
   EXPECT_FALSE(Convert(PipewirePixels::MJPG, {32, 32}, jpeg, 0));
   EXPECT_FALSE(Convert(PipewirePixels::MJPG, {32, 16}, {jpeg.begin(), jpeg.begin() + 40}, 0));
   EXPECT_FALSE(Convert(PipewirePixels::MJPG, {32, 16}, std::vector<uint8_t>(500, 0xAB), 0));
}

// Sources without a stride round rows up to 4 bytes, or do not: the size tells.
TEST_F(PipewirePictureTest, AMissingStrideIsGuessedFromTheSize) {
   const VideoDimensions size{10, 4};
   for (const int stride : {10, 12}) {
      std::vector<uint8_t> bytes;
      AppendPlane(&bytes, size.width, size.height, stride, LumaAt);
      AppendPairs(&bytes, size, stride, false);
      ASSERT_TRUE(Convert(PipewirePixels::NV12, size, bytes, 0));
      ExpectPicture(size, "guessed " + std::to_string(stride));
   }
}

TEST_F(PipewirePictureTest, PlanarWithoutAStrideIsGuessedFromTheSizeToo) {
   const VideoDimensions size{10, 4};
   for (const int stride : {10, 12}) {
      const int chromaStride = stride == 10 ? 5 : 8; // rows of each plane are rounded up by themselves
      std::vector<uint8_t> bytes;
      AppendPlane(&bytes, size.width, size.height, stride, LumaAt);
      AppendPlane(&bytes, 5, 2, chromaStride, CbAt);
      AppendPlane(&bytes, 5, 2, chromaStride, CrAt);
      ASSERT_TRUE(Convert(PipewirePixels::I420, size, bytes, 0));
      ExpectPicture(size, "guessed " + std::to_string(stride));
   }
}

TEST_F(PipewirePictureTest, ChromaApartWithoutAStrideHasThatOfTheLuma) {
   const VideoDimensions size{9, 5};
   std::vector<uint8_t> luma;
   std::vector<uint8_t> chroma;
   AppendPlane(&luma, size.width, size.height, 16, LumaAt);
   AppendPairs(&chroma, size, 16, false);
   ASSERT_TRUE(Convert(PipewirePixels::NV12, size, luma, 16, {chroma, 0}));
   ExpectPicture(size, "luma's stride");
}

TEST_F(PipewirePictureTest, ASizeWithoutPixelsIsRefused) {
   EXPECT_TRUE(frame.Allocate({8, 4}));
   const std::vector<uint8_t> bytes(1000);
   for (const VideoDimensions size : {VideoDimensions{0, 4}, {8, 0}, {-8, 4}, {8, -4}}) {
      for (const PipewirePixels pixels : kPipewirePixels) {
         PipewirePicture picture;
         picture.pixels = pixels;
         picture.size = size;
         picture.first = {bytes, 0};
         EXPECT_FALSE(ToBiPlanar(picture, &frame, &scratch));
      }
   }
}

TEST_F(PipewirePictureTest, OneByteTooFewIsRefusedInEveryFormat) {
   const VideoDimensions size{9, 5};
   struct Case {
      PipewirePixels pixels;
      int stride;
      size_t bytes;
   };
   const Case cases[] = {{PipewirePixels::NV12, 10, 10 * 5 + 10 * 3},
                         {PipewirePixels::NV21, 10, 10 * 5 + 10 * 3},
                         {PipewirePixels::I420, 10, 50 + 15 + 15},
                         {PipewirePixels::YV12, 10, 50 + 15 + 15},
                         {PipewirePixels::YUY2, 20, 100},
                         {PipewirePixels::UYVY, 20, 100},
                         {PipewirePixels::BGRx, 36, 180},
                         {PipewirePixels::RGBx, 36, 180},
                         {PipewirePixels::RGB, 27, 135},
                         {PipewirePixels::BGR, 27, 135}};
   for (const Case &c : cases) {
      EXPECT_TRUE(Convert(c.pixels, size, std::vector<uint8_t>(c.bytes), c.stride));
      EXPECT_FALSE(Convert(c.pixels, size, std::vector<uint8_t>(c.bytes - 1), c.stride));
      EXPECT_FALSE(Convert(c.pixels, size, std::vector<uint8_t>(c.bytes), c.stride - 9)) << "stride below a row";
      EXPECT_FALSE(Convert(c.pixels, size, std::vector<uint8_t>(c.bytes), INT32_MAX)) << "stride beyond all";
      EXPECT_FALSE(Convert(c.pixels, size, {}, c.stride));
   }
}

} // namespace
} // namespace osal
