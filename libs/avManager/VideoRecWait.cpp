#include "libs/avManager/VideoRecWait.h"

#include "lib/mfw/common/linuxSupport.h"
#include "lib/mfw/common/logger.h"

FrameWait ReportWait(const char *function, uint32_t result) {
   constexpr uint32_t kFirstAbandoned = 128;
   switch (result) {
   case WAIT_OBJECT_0:
      MAVR_LOG_DEBUG("%s - Thread NotifEvent triggered", function);
      return FrameWait::GaveUp;
   case WAIT_OBJECT_0 + 1:
      return FrameWait::Frame;
   case kFirstAbandoned:
      MAVR_LOG_DEBUG("%s - mServiceThread.GetNotifEvent() wait abandoned!", function);
      return FrameWait::GaveUp;
   case kFirstAbandoned + 1:
      MAVR_LOG_DEBUG("%s - mHEvent wait abandoned!", function);
      return FrameWait::GaveUp;
   case WAIT_TIMEOUT:
      MAVR_LOG_DEBUG("%s - Wait timed out!", function);
      return FrameWait::GaveUp;
   case WAIT_FAILED:
      MAVR_LOG_DEBUG("%s - Wait failed! Error: %d", function, GetLastError());
      return FrameWait::GaveUp;
   default:
      return FrameWait::Impossible;
   }
}
