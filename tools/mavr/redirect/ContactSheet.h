#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mavr::redirect {

/// Small copies of some frames of a stream, evenly spread over it, in one picture. All pictures are I420 without gaps.
///
/// Owner: who receives the stream. Threads: one. Locks: none. Life cycle: constructed -> Offer* -> Compose.
class ContactSheet {
public:
   static constexpr uint32_t kColumns = 4;
   static constexpr uint32_t kRows = 3;
   static constexpr uint32_t kThumbWidth = 160; ///< pixels; the height follows the frames' shape
   static constexpr uint32_t kGap = 4;

   /// Frames of this size, of which about `expected` will be offered.
   ContactSheet(uint32_t width, uint32_t height, uint64_t expected);

   /// A frame, whose number in the stream begins at 0. Takes it when its turn has come and there is room.
   void Offer(uint64_t number, const uint8_t *i420);

   [[nodiscard]] const std::vector<uint64_t> &Numbers() const { return mNumbers; } ///< of what was taken

   struct Sheet {
      uint32_t width = 0;
      uint32_t height = 0;
      std::vector<uint8_t> i420;
   };
   /// Rows of thumbs in the order in which they came, on grey; as many rows as are needed, at least one.
   [[nodiscard]] Sheet Compose() const;

private:
   const uint32_t mWidth;
   const uint32_t mHeight;
   const uint32_t mThumbHeight;
   const uint64_t mExpected;
   std::vector<uint64_t> mNumbers;
   std::vector<std::vector<uint8_t>> mThumbs;
};

} // namespace mavr::redirect
