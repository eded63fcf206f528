#include "osal/common/BasicParts.h"

namespace osal {

void BasicConnection::setVideoMaxFrameDuration(MediaTime duration) {
   if (isVideoMaxFrameDurationSupported() && duration.value > 0 && duration.timescale > 0) {
      const std::lock_guard<std::mutex> hold(mMutex);
      mDuration = duration;
   }
}

MediaTime BasicConnection::videoMaxFrameDuration() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mDuration;
}

} // namespace osal
