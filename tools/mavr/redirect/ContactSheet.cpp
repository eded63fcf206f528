#include "tools/mavr/redirect/ContactSheet.h"

#include <libyuv.h>

#include <algorithm>

namespace mavr::redirect {
namespace {

constexpr uint8_t kGrey = 96;
constexpr uint8_t kNoColour = 128;
constexpr uint32_t kMost = ContactSheet::kColumns * ContactSheet::kRows;

struct Planes {
   const uint8_t *y;
   const uint8_t *u;
   const uint8_t *v;
};

Planes PlanesOf(const uint8_t *i420, uint32_t width, uint32_t height) {
   const size_t luma = size_t{width} * height;
   return {i420, i420 + luma, i420 + luma + luma / 4};
}

// Even, and not flat.
uint32_t ThumbHeight(uint32_t width, uint32_t height) {
   return std::clamp(ContactSheet::kThumbWidth * height / width / 2 * 2, 2U, 1024U);
}

int ToInt(uint32_t value) {
   return static_cast<int>(value);
}

} // namespace

ContactSheet::ContactSheet(uint32_t width, uint32_t height, uint64_t expected)
    : mWidth(width)
    , mHeight(height)
    , mThumbHeight(ThumbHeight(width, height))
    , mExpected(expected) {}

void ContactSheet::Offer(uint64_t number, const uint8_t *i420) {
   if (mThumbs.size() >= kMost || number < mThumbs.size() * mExpected / kMost) {
      return;
   }
   const Planes from = PlanesOf(i420, mWidth, mHeight);
   std::vector<uint8_t> thumb(size_t{kThumbWidth} * mThumbHeight * 3 / 2);
   uint8_t *const y = thumb.data();
   uint8_t *const u = y + size_t{kThumbWidth} * mThumbHeight;
   uint8_t *const v = u + size_t{kThumbWidth} * mThumbHeight / 4;
   const int chroma = ToInt(mWidth) / 2;
   if (libyuv::I420Scale(from.y, ToInt(mWidth), from.u, chroma, from.v, chroma, ToInt(mWidth), ToInt(mHeight), y,
                         kThumbWidth, u, kThumbWidth / 2, v, kThumbWidth / 2, kThumbWidth, ToInt(mThumbHeight),
                         libyuv::kFilterBox) == 0) {
      mThumbs.push_back(std::move(thumb));
      mNumbers.push_back(number);
   }
}

ContactSheet::Sheet ContactSheet::Compose() const {
   const auto count = static_cast<uint32_t>(mThumbs.size());
   const uint32_t rows = std::max((count + kColumns - 1) / kColumns, 1U);
   Sheet sheet;
   sheet.width = kColumns * (kThumbWidth + kGap) + kGap;
   sheet.height = rows * (mThumbHeight + kGap) + kGap;
   const size_t luma = size_t{sheet.width} * sheet.height;
   sheet.i420.assign(luma, kGrey);
   sheet.i420.resize(luma * 3 / 2, kNoColour);
   const uint32_t chromaWidth = sheet.width / 2;
   for (uint32_t i = 0; i < count; ++i) {
      const uint32_t x = kGap + i % kColumns * (kThumbWidth + kGap);
      const uint32_t y = kGap + i / kColumns * (mThumbHeight + kGap);
      const Planes from = PlanesOf(mThumbs[i].data(), kThumbWidth, mThumbHeight);
      uint8_t *const toY = sheet.i420.data() + size_t{y} * sheet.width + x;
      uint8_t *const toU = sheet.i420.data() + luma + size_t{y / 2} * chromaWidth + x / 2;
      libyuv::I420Copy(from.y, kThumbWidth, from.u, kThumbWidth / 2, from.v, kThumbWidth / 2, toY, ToInt(sheet.width),
                       toU, ToInt(chromaWidth), toU + luma / 4, ToInt(chromaWidth), kThumbWidth, ToInt(mThumbHeight));
   }
   return sheet;
}

} // namespace mavr::redirect
