#include "tools/mavr/redirect/PictureCheck.h"

#include "osal/simulated/FrameCounter.h"

namespace mavr::redirect {

void PictureCheck::Take(const uint8_t *luma, uint32_t width, uint32_t height, Place place) {
   ++mResult.pictures;
   const auto number = osal::ReadFrameCounter(luma, width, width, height);
   if (!number) {
      return;
   }
   ++mResult.readable;
   if (!mResult.first) {
      mResult.first = number;
   }
   if (place == Place::kOvertaken) {
      return;
   }
   if (mResult.last && static_cast<int32_t>(*number - *mResult.last) <= 0) {
      ++mResult.backwards;
   }
   mResult.last = number;
}

} // namespace mavr::redirect
