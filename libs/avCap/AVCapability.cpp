#include "libs/avCap/AVCapability.h"

#include "lib/mfw/common/logger.h"
#include "libs/common/codec/Codec.h"
#include "libs/utils/RegUtils.h"

AVCapability &AVCapability::GetInstance() {
   static AVCapability instance;
   return instance;
}

AVCapability::AVCapability()
    : mLocal(CAP_BASE) {
   if (RegUtils::GetBool("", "MAVRV2Enabled", true)) {
      mLocal |= CAP_V2;
   }
}

void AVCapability::AddLocalCap(uint32_t bits) {
   MAVR_LOG_DEBUG("%s - Add local cap: %d.", "AddLocalCap", static_cast<int>(bits));
   mLocal |= bits;
   Negotiate();
}

void AVCapability::RemoveLocalCap(uint32_t bits) {
   MAVR_LOG_DEBUG("%s - Remove local cap: %d.", "RemoveLocalCap", static_cast<int>(bits));
   mLocal &= ~bits;
   Negotiate();
}

uint32_t AVCapability::GetLocalCap() const {
   MAVR_LOG_DEBUG("%s - Local cap: %d.", "GetLocalCap", static_cast<int>(mLocal));
   return mLocal;
}

uint32_t AVCapability::CalcLocalCapability(uint32_t restricted) {
   if (restricted != 0) {
      AddLocalCap(CAP_H264);
      AddLocalCap(CAP_OPUS);
      RemoveLocalCap(CAP_LEGACY_MASK);
      RemoveLocalCap(CAP_V2);
   } else {
      AddCapsOfPreferredCodec();
      AddLocalCap(CAP_PREFS_APPLIED);
   }
   return GetLocalCap();
}

void AVCapability::AddCapsOfPreferredCodec() {
   switch (GetPreferredCodec()) {
   case kCodecCrvH265Opus:
      MAVR_LOG_DEBUG("%s - pref codec is H265 and Opus", "CalcLocalCapability");
      AddLocalCap(CAP_H264); // a side that can do H265 can fall back
      AddLocalCap(CAP_H265);
      AddLocalCap(CAP_OPUS);
      break;
   case kCodecCrvH264Opus:
      MAVR_LOG_DEBUG("%s - pref codec is H264 and Opus", "CalcLocalCapability");
      AddLocalCap(CAP_H264);
      AddLocalCap(CAP_OPUS);
      break;
   case kCodecCrvH264Speex:
      MAVR_LOG_DEBUG("%s - pref codec is H264 and Speex", "CalcLocalCapability");
      AddLocalCap(CAP_H264);
      break;
   default:
      break;
   }
}

void AVCapability::SetCap(uint32_t peer) {
   mPeer = peer;
   Negotiate();
   MAVR_LOG_DEBUG("%s - peer cap: 0x%x local cap: 0x%x negotiation cap: 0x%x.", "SetCap", mPeer, mLocal, mNegotiated);
}
