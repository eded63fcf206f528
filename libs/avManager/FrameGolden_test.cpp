// Pictures by their sums: equal for every compiler, every optimisation, and with libyuv's fast paths on and off. The
// program is built three times, see CMakeLists.txt.

#include "libs/avManager/FrameConversion.h"
#include "libs/avManager/IntermediateImage.h"
#include "libs/avManager/VideoScaleUtils.h"

#include <gtest/gtest.h>

#include <libyuv/cpu_id.h>

#include <cstdint>
#include <ostream>
#include <vector>

namespace {

struct Golden {
   uint32_t width;
   uint32_t height;
   uint32_t pictureWidth;
   uint32_t pictureHeight;
   int32_t mode;
   uint64_t sum;
   friend std::ostream &operator<<(std::ostream &out, const Golden &golden) {
      return out << golden.width << "x" << golden.height << " into " << golden.pictureWidth << "x"
                 << golden.pictureHeight << ", mode " << golden.mode;
   }
};

// FNV-1a, 64 bits.
uint64_t SumOf(const std::vector<uint8_t> &bytes) {
   uint64_t sum = 0xCBF29CE484222325;
   for (const uint8_t byte : bytes) {
      sum = (sum ^ byte) * 0x100000001B3;
   }
   return sum;
}

std::vector<uint8_t> Pattern(size_t size, uint32_t state) {
   std::vector<uint8_t> bytes(size);
   for (uint8_t &byte : bytes) {
      state = state * 1664525 + 1013904223;
      byte = static_cast<uint8_t>(state >> 24);
   }
   return bytes;
}

uint64_t SumOfPicture(const Golden &golden) {
   const uint32_t chromaRow = (golden.width + 1) / 2 * 2;
   const std::vector<uint8_t> luma = Pattern(size_t{golden.width} * golden.height, 1);
   const std::vector<uint8_t> chroma = Pattern(size_t{chromaRow} * ((golden.height + 1) / 2), 2);
   IntermediateImage image;
   EXPECT_TRUE(image.Setup(golden.width, golden.height));
   std::vector<uint8_t> picture(size_t{golden.pictureWidth} * golden.pictureHeight * 3 / 2, 0x77);
   EXPECT_TRUE(ConvertFrame({luma.data(), chroma.data(), golden.width, chromaRow, golden.width, golden.height}, image,
                            {picture.data(), golden.pictureWidth, golden.pictureHeight, golden.mode}));
   return SumOf(picture);
}

constexpr Golden kGolden[] = {
   {1280, 720, 640, 480, 0, 0x75ABC169976430E4},   {1280, 720, 640, 480, 1, 0xF274739BA70AEC99},
   {1280, 720, 640, 480, 2, 0xB1E45812F3FF8C38},   {1280, 720, 640, 480, 3, 0xFFA660B5D715A636},
   {1280, 720, 1280, 720, 0, 0xF302DEF9370F35B7},  {1280, 720, 1280, 720, 1, 0xF302DEF9370F35B7},
   {1280, 720, 1280, 720, 2, 0xF302DEF9370F35B7},  {1280, 720, 1280, 720, 3, 0xF302DEF9370F35B7},
   {1920, 1080, 640, 480, 0, 0x8EDC32AD37EFED5D},  {1920, 1080, 640, 480, 1, 0xDF34CF038C99189E},
   {1920, 1080, 640, 480, 2, 0x1D84037AB15AAF0F},  {1920, 1080, 640, 480, 3, 0x91D6A23E297F87DC},
   {1920, 1080, 1280, 720, 0, 0x572C65AAE40B7539}, {1920, 1080, 1280, 720, 1, 0x572C65AAE40B7539},
   {1920, 1080, 1280, 720, 2, 0x572C65AAE40B7539}, {1920, 1080, 1280, 720, 3, 0xEDDF6C787CA36795},
   {641, 481, 640, 480, 0, 0x8EBAEB8D0DE1F449},    {641, 481, 640, 480, 1, 0x66D59F2622567058},
   {641, 481, 640, 480, 2, 0x8EBAEB8D0DE1F449},    {641, 481, 640, 480, 3, 0x66D59F2622567058},
   {641, 481, 1280, 720, 0, 0xDBFB6DC5F2A785CC},   {641, 481, 1280, 720, 1, 0x21EB00ED88DF86AD},
   {641, 481, 1280, 720, 2, 0x8156116B9E3C9E7B},   {641, 481, 1280, 720, 3, 0xD97D5D0AADBCA238},
   {640, 480, 1280, 720, 2, 0xD9368F32480FB063},   {640, 480, 640, 480, 2, 0xE96B57A9DCB99AE5},
   {1279, 719, 640, 480, 2, 0x21AFAD7CBC366E0B},   {353, 289, 352, 288, 2, 0x1FDA87C4F9E2686F},
   {640, 481, 640, 480, 2, 0xC86A7EA0774C0614},    {1280, 720, 640, 360, 2, 0xAE848A51B7CF1638},
   {353, 289, 353, 289, 2, 0x5896282DAE581868},
};

TEST(FrameGolden, IsTheSameWithAndWithoutFastPaths) {
   for (const int flags : {-1, libyuv::kCpuInitialized}) {
      libyuv::MaskCpuFlags(flags);
      for (const Golden &golden : kGolden) {
         EXPECT_EQ(SumOfPicture(golden), golden.sum) << golden << ", CPU flags " << flags;
      }
   }
   libyuv::MaskCpuFlags(0);
}

} // namespace
