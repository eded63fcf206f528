#include "libs/avManager/AudioCaptureMac.h"

#include "libs/avManager/AVCaptureFunctions.h"
#include "libs/avManager/MicrophoneChoice.h"
#include "libs/avManager/SyncMediaClock.h"

#include "lib/mfw/common/logger.h"
#include "libs/common/AppTweakSettings.h"
#include "libs/utils/SampleMeta.h"
#include "osal/SchedulePoint.h"

#include <algorithm>
#include <cassert>

namespace {

constexpr const char *kOpenRec = "bool AudioCaptureMac::OpenRec(std::string &, DWORD, DWORD, SyncMediaClock *, HANDLE)";
constexpr const char *kStartRec = "bool AudioCaptureMac::StartRec()";
constexpr const char *kClose = "virtual bool AudioCaptureMac::Close()";
constexpr const char *kFromFile = "bool AudioCaptureMac::CopyAudioFromFile()";
constexpr const char *kPrefDev =
   "bool AudioCaptureMac::GetWaveIdForPrefDev(std::string &, MMDev::DeviceInfo &, uint32_t &)";
constexpr const char *kDestructor = "virtual AudioCaptureMac::~AudioCaptureMac()";
constexpr int32_t kReservedSlots = 1;
constexpr uint32_t kLongestWaitMS = 2000;

AudioCaptureMac *Object(void *obj) {
   return static_cast<AudioCaptureMac *>(obj);
}

} // namespace

AudioCaptureMac::AudioCaptureMac() {
   MAVR_LOG_TRACE("%s", "AudioCaptureMac::AudioCaptureMac()");
   mCapture = AVCaptureRegister(this, CaptureTypeAudio);
   mAudioThread.SetName("AudioCaptureMac");
}

AudioCaptureMac::~AudioCaptureMac() {
   MAVR_LOG_TRACE("%s", kDestructor);
   if (mRecording || mImportFile.IsReading()) {
      AudioCaptureMac::Close();
   }
   AVCaptureUnRegister(mCapture, CaptureTypeAudio);
}

// ---- Open -----------------------------------------------------------------------------------------------------------

bool AudioCaptureMac::Open(AudioUserPrefs &prefs, SyncMediaClock *clock) {
   // The size of a chunk depends on it.
   SetPCMFormat(prefs.mSampleRate, AudioBase::BPS_16K, 1);
   return OpenRec(prefs.mUserId, prefs.mChunkMS, prefs.mQueueBuffers, clock, prefs.mDataEvent) && StartRec();
}

void AudioCaptureMac::SetPCMFormat(uint32_t rate, uint32_t bitsPerSample, uint32_t channels) {
   assert(bitsPerSample == AudioBase::BPS_16K);
   mSampleRate = rate;
   mBitsPerSample = bitsPerSample;
   mChannels = static_cast<uint16_t>(channels);
   AVCaptureAudioSetPCMFormat(mCapture, static_cast<int>(mSampleRate), static_cast<int>(mBitsPerSample),
                              static_cast<int>(mChannels));
}

bool AudioCaptureMac::OpenRec(const std::string &userId, uint32_t chunkMS, uint32_t queueBuffers, SyncMediaClock *clock,
                              HANDLE event) {
   MAVR_LOG_TRACE("%s", kOpenRec);
   if (mRecording || mImportFile.IsReading()) {
      MAVR_LOG_ERROR("%s - AudioCaptureMac already opened!", kOpenRec);
      return false;
   }
   if (clock == nullptr) {
      MAVR_LOG_ERROR("%s - AudioCaptureMac is missing Sync Clock ref", kOpenRec);
      return false;
   }
   if (!SizeQueue(chunkMS, queueBuffers)) {
      return false;
   }
   mChunkDurationMS = chunkMS;
   mSyncClock = clock;
   mClientEvent = event;
   mChunks = 0;
   mLostChunks = 0;
   mDeviceIndex = -1;
   OpenImport();
   if (!mImportFile.IsReading() && !OpenMicrophone(userId)) {
      return false;
   }
   // Before deliveries may touch the client's event: a refused open leaves that to its owner.
   const HANDLE closeEvent = CreateEvent(nullptr, false, false, nullptr);
   if (closeEvent == nullptr) {
      return false;
   }
   osal::schedulePoint();
   ++mActiveCount;
   osal::schedulePoint();
   mCloseEvent = closeEvent;
   // A chunk that came while this counted as closed has woken nobody.
   if (!mAudioQueue.IsEmpty()) {
      SendNotifs();
   }
   OpenDumps();
   MAVR_LOG_TRACE("%s - AVFoundation audio intitialized", kOpenRec);
   return true;
}

bool AudioCaptureMac::SizeQueue(uint32_t chunkMS, uint32_t queueBuffers) {
   mWavDataChunk = static_cast<uint32_t>(AVCaptureAudioGetReqdBufSize(mCapture, static_cast<int>(chunkMS)));
   if (mWavDataChunk == 0) {
      MAVR_LOG_ERROR("%s - Buffer size calculation error", kOpenRec);
      return false;
   }
   if (!mAudioQueue.Init(static_cast<int32_t>(queueBuffers), static_cast<int32_t>(mWavDataChunk), kReservedSlots,
                         false)) {
      MAVR_LOG_ERROR("%s - DataBufferQueue Init for Output failed!", kOpenRec);
      return false;
   }
   return true;
}

void AudioCaptureMac::OpenImport() {
   std::string path;
   if (!AppTweakSettings::GetImportAudioFile(&path)) {
      return;
   }
   MediaFileHeader header{};
   if (!mImportFile.InitRead(kMediaAudio, path, header)) {
      MAVR_LOG_ERROR("%s - AudioIn DebugPrefs enabled. Debug DataSource error", kOpenRec);
   } else if (header.SampleSize(kMediaAudio) == mWavDataChunk) {
      MAVR_LOG_DEBUG("%s - AudioIn data captured from file: %s", kOpenRec, path.c_str());
   } else {
      MAVR_LOG_ERROR("%s - AudioIn DataSource mismatch with user prefs. Debug AudioIn Read params are ignored",
                     kOpenRec);
      mImportFile.CloseFile();
   }
}

bool AudioCaptureMac::OpenMicrophone(const std::string &userId) {
   MMDev::DeviceInfo info;
   auto count = static_cast<uint32_t>(Count());
   const char *systemId = nullptr;
   if (!userId.empty() && GetWaveIdForPrefDev(userId, info, count)) {
      MAVR_LOG_DEBUG("%s - Total Devices: %d.  Using AVFoundation device: Name=%s.  SystemId=%s  UserId=%s", kOpenRec,
                     count, info.mName.c_str(), info.mSystemId.c_str(), info.mUserId.c_str());
      mDeviceIndex = static_cast<int32_t>(ChooseMicrophone(CachedList(), userId).index);
      systemId = info.mSystemId.c_str();
   } else {
      if (!userId.empty()) {
         MAVR_LOG_DEBUG("%s - Preferred audio device not found. UserId=%s", kOpenRec, userId.c_str());
      }
      MAVR_LOG_DEBUG("%s - Total Devices: %d.  Using the default source device", kOpenRec, count);
   }
   mRecording = AVCaptureStartCapturingAudio(mCapture, systemId);
   return mRecording;
}

bool AudioCaptureMac::GetWaveIdForPrefDev(const std::string &userId, MMDev::DeviceInfo &info, uint32_t &count) {
   const MMDev::DeviceList &microphones = CachedList();
   count = static_cast<uint32_t>(microphones.size());
   if (count == 0) {
      MAVR_LOG_ERROR("%s - No audio source device found", kPrefDev);
      return false;
   }
   const MicrophoneChoice choice = ChooseMicrophone(microphones, userId);
   if (choice.match == MicrophoneChoice::Match::None) {
      MAVR_LOG_DEBUG("%s - Preferred Device not found. UserId=%s", kPrefDev, userId.c_str());
      return false;
   }
   info = microphones[choice.index];
   if (choice.match == MicrophoneChoice::Match::Whole) {
      MAVR_LOG_DEBUG("%s - Preferred device found.  Index=%u  UserId=%s  Name=%s", kPrefDev,
                     static_cast<unsigned>(choice.index), info.mUserId.c_str(), info.mName.c_str());
   } else {
      MAVR_LOG_DEBUG("%s - Partial match found for Preferred Device[UserId=%s].  Index=%u  UserId=%s  Name=%s",
                     kPrefDev, userId.c_str(), static_cast<unsigned>(choice.index), info.mUserId.c_str(),
                     info.mName.c_str());
   }
   return true;
}

// A dump that can't be made never stops capture.
void AudioCaptureMac::OpenDumps() {
   std::string path;
   if (AppTweakSettings::GetExportAudioPcmFile(&path) &&
       !(mPcmFile.Open(path, WavFileWriter::kWriteMode) &&
         mPcmFile.WriteHeader(mSampleRate, static_cast<uint16_t>(mChannels)))) {
      MAVR_LOG_ERROR("%s - Failed to write the PCM dump: %s", kOpenRec, path.c_str());
      mPcmFile.Close();
   }
   // One without a header would refuse each chunk with a line.
   if (AppTweakSettings::GetExportAudioFile(&path) &&
       !mExportFile.InitWrite(kMediaAudio, path, MediaFileHeader::ForAudio(mWavDataChunk))) {
      mExportFile.CloseFile();
   }
}

bool AudioCaptureMac::StartRec() {
   MAVR_LOG_TRACE("%s - WaveIn Audio capture thread started", kStartRec);
   (void)mAudioThread.StartThread(AudioThreadCB, this, 0, 0);
   return true;
}

// ---- Close ----------------------------------------------------------------------------------------------------------

bool AudioCaptureMac::Close() {
   MAVR_LOG_TRACE("%s", kClose);
   if (mActiveCount != 0) {
      --mActiveCount;
   }
   osal::schedulePoint();
   const bool wasRecording = mRecording;
   if (wasRecording) {
      AVCaptureStopCapturingAudio(mCapture);
   }
   // For a file too: its thread is out of the file and the queue before they go, and the next open starts it anew.
   (void)mAudioThread.StopThread(INFINITE);
   mRecording = false;
   (void)WaitForSingleObject(mCloseEvent, std::min(mChunkDurationMS * 2, kLongestWaitMS));
   mClientEvent = nullptr;
   CloseHandle(mCloseEvent.exchange(nullptr));
   mExportFile.CloseFile();
   mImportFile.CloseFile();
   mPcmFile.Close();
   if (wasRecording) {
      MAVR_LOG_TRACE("%s - AVCapture audio capture closed", kClose);
   }
   return wasRecording;
}

// ---- A file as the source -------------------------------------------------------------------------------------------

// A microphone needs nothing of this thread, so that it sleeps to its end instead of waking up for each chunk.
bool AudioCaptureMac::AudioThreadCB(void *self, CRVThread *thread) {
   AudioCaptureMac *const capture = Object(self);
   const HANDLE notification = thread->GetNotifEvent();
   if (!capture->mImportFile.IsReading() || notification == nullptr) {
      thread->WaitForExitEvent();
      return true;
   }
   capture->CopyAudioFromFile();
   WaitForSingleObject(notification, INFINITE);
   return true;
}

bool AudioCaptureMac::CopyAudioFromFile() {
   DataBuffer *const slot = mAudioQueue.GetNextWriteBuf();
   if (slot == nullptr) {
      MAVR_LOG_ERROR("%s - Error retrieving write buffer. Audio data not copied", kFromFile);
      return false;
   }
   // The pace is a sleep that Close ends early.
   MediaSampleRecord sample;
   if (!mImportFile.ReadSampleLooped(sample)) {
      MAVR_LOG_ERROR("%s - AudioIn sample capture from file failed", kFromFile);
      (void)mAudioThread.ShouldStop(mChunkDurationMS);
      return false;
   }
   const SampleMeta meta{SyncMediaClock::GetTimeMS(), 1};
   const bool isFilled =
      slot->Set(sample.mData, static_cast<int32_t>(mWavDataChunk)) && mAudioQueue.SetWriteSide(&meta, sizeof meta);
   (void)mAudioThread.ShouldStop(mChunkDurationMS);
   if (!CountChunk(isFilled && mAudioQueue.CommitWrite())) {
      return false;
   }
   SendNotifs();
   return true;
}

// ---- Deliveries -----------------------------------------------------------------------------------------------------

void AudioCaptureMac::TimestampCache() {
   mTimestamp = SyncMediaClock::GetTimeMS();
}

bool AudioCaptureMac::CopyRecordedData(const char **data, size_t bytes) {
   assert(bytes == mWavDataChunk);
   DataBuffer *const slot = mAudioQueue.GetNextWriteBuf();
   if (!CountChunk(slot != nullptr && slot->Set(*data, static_cast<int32_t>(bytes)) && CommitChunk(mTimestamp))) {
      MAVR_LOG_DEBUG("%s - Data lost due to buffer not available: %u bytes",
                     "bool AudioCaptureMac::CopyRecordedData(const char **, size_t)", static_cast<unsigned>(bytes));
      return false;
   }
   *data += mWavDataChunk;
   return true;
}

bool AudioCaptureMac::CopyRecordedData(const char **data, size_t dbytes, const char *cache, size_t cbytes) {
   assert((dbytes + cbytes) == mWavDataChunk);
   DataBuffer *const slot = mAudioQueue.GetNextWriteBuf();
   if (!CountChunk(slot != nullptr &&
                   slot->Set(cache, static_cast<int32_t>(cbytes), *data, static_cast<int32_t>(dbytes)) &&
                   CommitChunk(SyncMediaClock::GetTimeMS()))) {
      MAVR_LOG_DEBUG("%s - Data lost due to buffer not available: %u bytes",
                     "bool AudioCaptureMac::CopyRecordedData(const char **, size_t, const char *, size_t)",
                     static_cast<unsigned>(dbytes + cbytes));
      return false;
   }
   *data += mWavDataChunk - cbytes;
   return true;
}

bool AudioCaptureMac::CommitChunk(uint64_t timeMS) {
   const SampleMeta meta{static_cast<uint32_t>(timeMS - mChunkDurationMS), 1};
   return mAudioQueue.SetWriteSide(&meta, sizeof meta) && mAudioQueue.CommitWrite();
}

// Written by one thread, read by any.
bool AudioCaptureMac::CountChunk(bool isTaken) {
   std::atomic<uint64_t> &count = isTaken ? mChunks : mLostChunks;
   count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
   return isTaken;
}

void AudioCaptureMac::SendNotifs() {
   osal::schedulePoint();
   if (mActiveCount != 0) {
      if (const HANDLE notification = mAudioThread.GetNotifEvent(); notification != nullptr) {
         SetEvent(notification);
      }
      osal::schedulePoint();
      if (const HANDLE event = mClientEvent; event != nullptr) {
         SetEvent(event);
      }
   } else if (const HANDLE event = mCloseEvent; event != nullptr) {
      SetEvent(event);
   }
}

void AVCapture_ACM_TimestampCache(void *obj) {
   assert(obj);
   Object(obj)->TimestampCache();
}

bool AVCapture_ACM_CopyRecordedData(void *obj, const char **data, size_t dbytes, const char *cache, size_t cbytes) {
   assert(obj);
   return cache != nullptr ? Object(obj)->CopyRecordedData(data, dbytes, cache, cbytes)
                           : Object(obj)->CopyRecordedData(data, dbytes);
}

void AVCapture_ACM_SendNotifs(void *obj) {
   assert(obj);
   Object(obj)->SendNotifs();
}

// ---- Reading --------------------------------------------------------------------------------------------------------

bool AudioCaptureMac::IsDataAvailable() {
   return !mAudioQueue.IsEmpty();
}

bool AudioCaptureMac::GetData(MediaData &out) {
   if (mAudioQueue.IsEmpty()) {
      return false;
   }
   out.mData = mAudioQueue.GetNextReadBuf();
   out.mMeta = mAudioQueue.GetReadSide();
   const auto length = static_cast<size_t>(out.mData->GetLength());
   if (mExportFile.IsWriting()) {
      (void)mExportFile.WriteSample(out.mData->GetData(), length, out.mMeta->GetData());
   }
   if (mPcmFile.IsOpen()) {
      (void)mPcmFile.WriteBytes(out.mData->GetData(), length);
   }
   return true;
}

void AudioCaptureMac::ReleaseData() {
   mAudioQueue.CommitRead();
}

AudioFacts AudioCaptureMac::Facts() const {
   AudioFacts facts;
   facts.chunks = mChunks.load(std::memory_order_relaxed);
   facts.lostChunks = mLostChunks.load(std::memory_order_relaxed);
   facts.chunkSize = mWavDataChunk;
   facts.queuedChunks = mAudioQueue.GetUsedCount();
   facts.deviceIndex = mDeviceIndex;
   facts.isFile = mImportFile.IsReading();
   facts.health = AVCaptureGetFacts(mCapture).health;
   return facts;
}
