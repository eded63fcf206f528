#include "libs/avManager/VideoRec.h"

#include "libs/avManager/SyncMediaClock.h"

#include "libs/common/AppTweakSettings.h"
#include "libs/utils/SampleMeta.h"

#include "lib/mfw/common/logger.h"

namespace {

constexpr const char *kOpen = "virtual bool VideoRec::Open(UserPrefs &, SyncMediaClock *)";
constexpr const char *kClose = "virtual bool VideoRec::Close()";
constexpr int32_t kQueueSlots = 10;
constexpr int32_t kReservedSlots = 1;
constexpr uint32_t kEnhancedLogCategory = 7;

} // namespace

VideoRec::VideoRec(std::unique_ptr<VideoInputBase> input)
    : mVideoInput(std::move(input))
    , mHEvent(CreateEvent(nullptr, false, false, nullptr)) {
   mServiceThread.SetName("VideoRec");
}

VideoRec::~VideoRec() {
   VideoRec::Close();
   mVideoQueue.Uninit();
   mExportFile.CloseFile();
   mImportFile.CloseFile();
   if (mHEvent != nullptr) {
      CloseHandle(mHEvent);
   }
}

// ---- Open -----------------------------------------------------------------------------------------------------------

bool VideoRec::Open(UserPrefs &prefs, SyncMediaClock *clock) {
   if (mVideoInput == nullptr) {
      MAVR_LOG_ERROR("%s - Failed to create VideoInputDevice Instance", kOpen);
      return false;
   }
   if (clock == nullptr) {
      MAVR_LOG_ERROR("%s - Sync Clock missing", kOpen);
      return false;
   }
   if (mRecState.IsError()) {
      MAVR_LOG_DEBUG("%s - DeviceState is set to error. Reset required", kOpen);
      mRecState.ResetError();
   }
   mRecState.ResetState();
   if (!mRecState.IsIdle()) {
      MAVR_LOG_ERROR("%s - DeviceState is not idle", kOpen);
      return false;
   }
   // What a failed open has left.
   Close();
   mVideoQueue.Uninit();
   mImportFile.CloseFile();
   mExportFile.CloseFile();
   mEnhancedLog = AppTweakSettings::IsExtraLogEnabled(kEnhancedLogCategory);
   if (mEnhancedLog) {
      MAVR_LOG_DEBUG("%s - VideoRec running with enhanced log level", kOpen);
   }
   mFirstFrameSeen = false;
   mGoodFrames = 0;
   mMissedTotal = 0;
   mMissedRun = 0;
   mSyncClock = clock;
   // Required: always 1 ms, for a file too: the pace comes from the camera's event, or from the queue running full.
   mServiceThreadIntervalMS = 1;
   MAVR_LOG_DEBUG("%s - mServiceThreadIntervalMS = %d", kOpen, mServiceThreadIntervalMS);
   mPrefs = prefs;
   mPrefs.mDeviceIndex = -1;
   uint32_t frameSize = 0;
   if (!OpenSource(&frameSize)) {
      ReleaseCamera();
      mRecState.SetAction_Open(false);
      return false;
   }
   const bool hasQueue = mVideoQueue.Init(kQueueSlots, static_cast<int32_t>(frameSize), kReservedSlots, false);
   OpenExport(frameSize);
   mOpen = hasQueue && StartServiceThread(mServiceThreadIntervalMS);
   if (mOpen) {
      MAVR_LOG_DEBUG("%s - Video capture started", kOpen);
   } else {
      MAVR_LOG_ERROR("%s - Video capture start failed", kOpen);
      ReleaseCamera();
   }
   mRecState.SetAction_Open(mOpen);
   return mOpen;
}

bool VideoRec::OpenSource(uint32_t *frameSize) {
   OpenImport();
   if (!mImportFile.IsReading()) {
      return OpenCamera(frameSize);
   }
   *frameSize = mImportHeader.mFrameSize;
   MAVR_LOG_DEBUG("%s - Initialized Capture File.  Resolution(WxH)=%ux%u.  Capture FrameRate=%u", kOpen, mPrefs.mWidth,
                  mPrefs.mHeight, mPrefs.mFrameRate);
   return true;
}

// Required: a file whose header is refused stays the source, and gives nothing.
void VideoRec::OpenImport() {
   std::string path;
   mImportHeader = {};
   if (!AppTweakSettings::GetImportVideoFile(&path) || !mImportFile.InitRead(kMediaVideo, path, mImportHeader)) {
      return;
   }
   if (mImportHeader.mWidthOrChunkSize == mPrefs.mWidth && mImportHeader.mHeight == mPrefs.mHeight &&
       mImportHeader.mPixelFormat == static_cast<uint32_t>(mPrefs.mPixelFormat)) {
      MAVR_LOG_DEBUG("%s - Video file is being used as Video source: %s", kOpen, path.c_str());
   } else {
      MAVR_LOG_ERROR("%s - File image source type mismatch with user selections. Debug Read params are ignored", kOpen);
      mImportFile.CloseFile();
   }
}

// The camera wakes this recorder, and this recorder wakes the caller: mPrefs keeps the caller's event.
bool VideoRec::OpenCamera(uint32_t *frameSize) {
   UserPrefs request = mPrefs;
   request.mDeviceIndex = -1;
   request.mFrameEvent = mHEvent;
   if (!mVideoInput->StartCapturing(request)) {
      MAVR_LOG_ERROR("%s - Failed to setup Webcam for capturing", kOpen);
      return false;
   }
   mPrefs.mDeviceIndex = request.mDeviceIndex;
   *frameSize = mVideoInput->GetFrameSize(mPrefs.mDeviceIndex);
   MAVR_LOG_DEBUG("%s - Initialized Capture from WebcamId=%d.  Resolution(WxH)=%ux%u.  Capture FrameRate=%u", kOpen,
                  mPrefs.mDeviceIndex, mPrefs.mWidth, mPrefs.mHeight, mPrefs.mFrameRate);
   return true;
}

// A camera that was set up and does not run in the end must be let go: it takes no second start.
void VideoRec::ReleaseCamera() {
   if (!mImportFile.IsReading()) {
      mVideoInput->StopCapturing(mPrefs.mDeviceIndex);
   }
}

void VideoRec::OpenExport(uint32_t frameSize) {
   std::string path;
   if (!AppTweakSettings::GetExportVideoFile(&path)) {
      return;
   }
   const auto header =
      MediaFileHeader::ForVideo(mPrefs.mWidth, mPrefs.mHeight, static_cast<uint32_t>(mPrefs.mPixelFormat), frameSize);
   // One without a header would refuse each frame with a line.
   if (!mExportFile.InitWrite(kMediaVideo, path, header)) {
      mExportFile.CloseFile();
   }
}

// ---- Close ----------------------------------------------------------------------------------------------------------

// The service thread is gone before the camera is stopped: the camera has no lock against it.
bool VideoRec::Close() {
   if (mOpen) {
      mOpen = false;
      StopServiceThread();
      mVideoInput->StopCapturing(mPrefs.mDeviceIndex);
      MAVR_LOG_DEBUG("%s - Video capture stopped", kClose);
      LogDevFrameMetrics();
   }
   mServiceThreadIntervalMS = -1;
   return mRecState.IsActive() && mRecState.SetAction_Close();
}

void VideoRec::LogDevFrameMetrics() {
   const auto ms = static_cast<uint32_t>(static_cast<uint64_t>(mFrameTimer.Seconds() * 1000));
   const uint32_t seconds = ms >= 1000 ? ms / 1000 : 1;
   MAVR_LOG_DEBUG("%s - FPS:%llu   Time(sec):%lu   GoodFrames:%llu   MissedFrames:%llu", "LogDevFrameMetrics",
                  static_cast<unsigned long long>(mGoodFrames / seconds), static_cast<unsigned long>(seconds),
                  static_cast<unsigned long long>(mGoodFrames), static_cast<unsigned long long>(MissedFrames()));
}

// ---- Reading --------------------------------------------------------------------------------------------------------

bool VideoRec::GetData(MediaData &out) {
   if (!mRecState.IsActive()) {
      MAVR_LOG_DEBUG("%s - device is not active, return false.", "GetData");
      return false;
   }
   if (!mOpen || mVideoQueue.IsEmpty()) {
      return false;
   }
   out.mData = mVideoQueue.GetNextReadBuf();
   out.mMeta = mVideoQueue.GetReadSide();
   if (mExportFile.IsWriting()) {
      (void)mExportFile.WriteSample(out.mData->GetData(), static_cast<size_t>(out.mData->GetLength()),
                                    out.mMeta->GetData());
   }
   return true;
}

bool VideoRec::IsDataAvailable() {
   if (!mRecState.IsActive()) {
      MAVR_LOG_DEBUG("%s - device is not active, return false.", "IsDataAvailable");
      return false;
   }
   return mOpen && !mVideoQueue.IsEmpty();
}

void VideoRec::ReleaseData() {
   if (!mRecState.IsActive()) {
      // Required: under the other call's name.
      MAVR_LOG_DEBUG("%s - device is not active, return false.", "IsDataAvailable");
      return;
   }
   if (mOpen && !mVideoQueue.IsEmpty()) {
      mVideoQueue.CommitRead();
   }
}

uint32_t VideoRec::GetFrameSize() {
   return mOpen ? mVideoInput->GetFrameSize(mPrefs.mDeviceIndex) : 0;
}

int32_t VideoRec::GetMetaSize() const {
   return sizeof(SampleMeta);
}

uint64_t VideoRec::MissedFrames() const {
   return mMissedTotal.load(std::memory_order_relaxed) + mMissedRun.load(std::memory_order_relaxed);
}

int32_t VideoRec::QueuedFrames() {
   return mVideoQueue.GetUsedCount();
}
