#include "libs/avManager/AudioRec.h"

#include "lib/mfw/common/logger.h"

#include <utility>

namespace {

constexpr const char *kOpen = "bool AudioRec::Open(AudioUserPrefs &, SyncMediaClock *)";

} // namespace

AudioRec::AudioRec(std::unique_ptr<AudioCaptureBase> capture)
    : mCapture(std::move(capture)) {}

bool AudioRec::Open(AudioUserPrefs &prefs, SyncMediaClock *clock) {
   if (mCapture == nullptr) {
      MAVR_LOG_ERROR("%s - Failed to create AudioCaptureDevice Instance", kOpen);
      return false;
   }
   if (clock == nullptr) {
      MAVR_LOG_ERROR("%s - Sync Clock missing", kOpen);
      return false;
   }
   mCapture->Close();
   mSyncClock = clock;
   mPrefs = prefs;
   return mCapture->Open(mPrefs, mSyncClock);
}

void AudioRec::Close() {
   if (mCapture != nullptr) {
      mCapture->Close();
   }
   mSyncClock = nullptr;
}

bool AudioRec::IsDataAvailable() {
   return mCapture != nullptr && mCapture->IsDataAvailable();
}

bool AudioRec::GetData(MediaData &out) {
   return mCapture != nullptr && mCapture->GetData(out);
}

bool AudioRec::ReleaseData() {
   if (mCapture == nullptr) {
      return false;
   }
   mCapture->ReleaseData();
   return true;
}

AudioFacts AudioRec::Facts() const {
   return mCapture != nullptr ? mCapture->Facts() : AudioFacts{};
}
