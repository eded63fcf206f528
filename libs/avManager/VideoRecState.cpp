#include "libs/avManager/VideoRecState.h"

#include "libs/common/AppTweakSettings.h"

#include "lib/mfw/common/linuxSupport.h"
#include "lib/mfw/common/logger.h"

VideoRecState::VideoRecState()
    : mDelayMS(AppTweakSettings::GetWCamIdleToActiveDelay()) {
   mInactiveTimer.Ticks(ThreadStopwatch::Command::RestartRunning);
}

bool VideoRecState::ResetError() {
   if (mState != VS_Error) {
      return false;
   }
   mState = VS_Idle;
   MAVR_LOG_DEBUG("%s - VS_Error -> VS_Idle", "ResetError");
   return true;
}

bool VideoRecState::SetAction_Open(bool opened) {
   if (mState != VS_Idle) {
      return false;
   }
   mState = opened ? VS_Active : VS_Error;
   // Required: for a failed open the line says VS_Idle.
   MAVR_LOG_DEBUG("%s - VS_Idle -> %s", "bool VideoRecState::SetAction_Open(bool)", opened ? "VS_Active" : "VS_Idle");
   return true;
}

bool VideoRecState::SetAction_Close() {
   if (mState != VS_Active) {
      return false;
   }
   mInactiveTimer.Ticks(ThreadStopwatch::Command::RestartRunning);
   mState = VS_Inactive;
   MAVR_LOG_DEBUG("%s - VS_Active -> VS_Inactive", "SetAction_Close");
   return true;
}

bool VideoRecState::ResetState() {
   if (mState != VS_Inactive) {
      return false;
   }
   if (mDelayMS > 0) {
      const double elapsedMS = mInactiveTimer.Seconds() * 1000;
      if (mDelayMS > elapsedMS) {
         const auto leftMS = static_cast<uint32_t>(mDelayMS - elapsedMS);
         MAVR_LOG_DEBUG("%s - VS_Inactive -> VS_Idle. Delay(ms)=%u", "ResetState", leftMS);
         Sleep(leftMS);
      } else {
         MAVR_LOG_DEBUG("%s - VS_Inactive -> VS_Idle", "ResetState");
      }
   }
   mState = VS_Idle;
   return true;
}
