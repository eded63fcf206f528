#include "libs/avManager/VideoRec.h"

#include "libs/avManager/SyncMediaClock.h"
#include "libs/avManager/VideoRecWait.h"

#include "libs/utils/SampleMeta.h"

#include "lib/mfw/common/logger.h"

#include <cassert>
#include <cstring>

// One pass of the service thread: a frame from the camera, or from a dump file, into the queue.

namespace {

constexpr const char *kService = "virtual bool VideoRec::ServiceThreadCB()";
constexpr uint32_t kQueueFullSleepMS = 10;

// Names of the log limiter. A Reset marks that the trouble has ended.
constexpr const char *kNoFileData = "ServiceThreadCB_NoVdoData_Err";
constexpr const char *kNoSlot = "ServiceThreadCB_DataFromQ_Err";
constexpr const char *kNoDeviceFrame = "ServiceThreadCB_DevNoDFrame_Err";
constexpr const char *kNoPixels = "ServiceThreadCB_FrameFromDev_Err";

} // namespace

bool VideoRec::ServiceThreadCB() {
   const bool fromFile = mImportFile.IsReading();
   const Pass pass = fromFile ? TakeFromFile() : TakeFromCamera();
   if (pass == Pass::Impossible) {
      assert(0);
   }
   if (pass == Pass::GaveUp) {
      return false;
   }
   if (!fromFile) {
      mLogLimiter.Reset(kNoFileData);
   }
   if (pass == Pass::TookSlot && mPrefs.mFrameEvent != nullptr) {
      SetEvent(mPrefs.mFrameEvent);
   }
   return true;
}

// A full queue pushes the loss back: to the camera's own queue, or to the frame just read from a file.
DataBuffer *VideoRec::TakeSlot() {
   DataBuffer *const slot = mVideoQueue.GetNextWriteBuf();
   if (slot == nullptr) {
      Sleep(kQueueFullSleepMS);
      if (mLogLimiter.ShouldLog(kNoSlot)) {
         MAVR_LOG_ERROR("%s - No data buffer available to copy Video Frame", kService);
      }
      return nullptr;
   }
   mLogLimiter.Reset(kNoSlot);
   return slot;
}

// ---- From a file ----------------------------------------------------------------------------------------------------

VideoRec::Pass VideoRec::TakeFromFile() {
   MediaSampleRecord sample;
   if (!mImportFile.ReadSampleLooped(sample)) {
      if (mLogLimiter.ShouldLog(kNoFileData)) {
         MAVR_LOG_ERROR("%s - Video Data unavailable!", kService);
      }
      return Pass::Nothing;
   }
   DataBuffer *const slot = TakeSlot();
   if (slot == nullptr) {
      return Pass::GaveUp;
   }
   const SampleMeta meta{SyncMediaClock::GetTimeMS(), 1};
   std::memcpy(slot->GetData(), sample.mData, static_cast<size_t>(slot->GetCapacity()));
   slot->SetLength(slot->GetCapacity());
   mVideoQueue.SetWriteSide(&meta, sizeof meta);
   mVideoQueue.CommitWrite();
   mLogLimiter.Reset(kNoFileData);
   return Pass::TookSlot;
}

// ---- From the camera ------------------------------------------------------------------------------------------------

VideoRec::Pass VideoRec::TakeFromCamera() {
   if (!mVideoInput->IsNewFrameAvailable(mPrefs.mDeviceIndex)) {
      const Pass waited = AwaitFrame();
      if (waited != Pass::TookSlot) {
         return waited;
      }
   }
   DataBuffer *const slot = TakeSlot();
   if (slot == nullptr) {
      return Pass::GaveUp;
   }
   // Taken before the pixels are fetched: the conversion does not count as delay.
   const SampleMeta meta{SyncMediaClock::GetTimeMS(), 1};
   int length = 0;
   if (mVideoInput->GetPixels(mPrefs.mDeviceIndex, slot->GetData(), static_cast<uint32_t>(slot->GetCapacity()),
                              &length)) {
      slot->SetLength(length);
      if (!mFirstFrameSeen) {
         mFrameTimer.Ticks(ThreadStopwatch::Command::RestartRunning);
         mFirstFrameSeen = true;
      }
      EndMissedRun();
      mVideoQueue.SetWriteSide(&meta, sizeof meta);
      mVideoQueue.CommitWrite();
      ++mGoodFrames;
      LogFPS();
      mLogLimiter.Reset(kNoPixels);
   } else if (mLogLimiter.ShouldLog(kNoPixels)) {
      MAVR_LOG_ERROR("%s - A Frame was expected but not received from device", kService);
   }
   mLogLimiter.Reset(kNoDeviceFrame);
   return Pass::TookSlot;
}

// TookSlot: a frame waits. The explicit reset takes back a second signal that came while the last frame was fetched.
VideoRec::Pass VideoRec::AwaitFrame() {
   const HANDLE events[] = {mServiceThread.GetNotifEvent(), mHEvent};
   switch (ReportWait(kService, WaitForMultipleObjects(2, events, false, INFINITE))) {
   case FrameWait::Frame:
      break;
   case FrameWait::GaveUp:
      return Pass::GaveUp;
   case FrameWait::Impossible:
      return Pass::Impossible;
   }
   ResetEvent(mHEvent);
   if (mVideoInput->IsNewFrameAvailable(mPrefs.mDeviceIndex)) {
      return Pass::TookSlot;
   }
   if (mFirstFrameSeen) {
      CountMiss();
   }
   return Pass::Nothing;
}

void VideoRec::CountMiss() {
   if (mMissedRun == 0) {
      if (mEnhancedLog || mLogLimiter.ShouldLog(kNoDeviceFrame)) {
         MAVR_LOG_DEBUG("%s - Video Frame not received when asked from device", kService);
      }
      if (mMissedTotal == 0) {
         MAVR_LOG_ERROR("%s - We missed some video frames when asked from the Device", kService);
      }
   }
   ++mMissedRun;
   if (mEnhancedLog && mMissedRun % 100 == 0) {
      MAVR_LOG_DEBUG("%s - Video Frames missed: %llu", "LogMissedFrameCount",
                     static_cast<unsigned long long>(mMissedRun));
   }
}

void VideoRec::EndMissedRun() {
   if (mMissedRun == 0) {
      return;
   }
   if (mEnhancedLog) {
      MAVR_LOG_DEBUG("%s - Video Frames missed: %llu", "LogMissedFrameCount",
                     static_cast<unsigned long long>(mMissedRun));
   }
   mMissedTotal += mMissedRun;
   mMissedRun = 0;
}

void VideoRec::LogFPS() {
   constexpr uint64_t kEvery = 200;
   const uint64_t frames = mGoodFrames;
   if (frames % kEvery != 0) {
      return;
   }
   const auto ms = static_cast<uint32_t>(static_cast<uint64_t>(mFrameTimer.Seconds() * 1000));
   if (ms >= 1000) {
      MAVR_LOG_DEBUG("%s - FPS:%llu.  Frames:%llu.  Time(sec):%lu", "LogFPS",
                     static_cast<unsigned long long>(frames / (ms / 1000)), static_cast<unsigned long long>(frames),
                     static_cast<unsigned long>(ms / 1000));
   }
}
