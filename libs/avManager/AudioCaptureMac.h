#pragma once

#include "libs/avManager/AVSampleHandler.h"
#include "libs/avManager/AudioCaptureBase.h"
#include "libs/avManager/WavFileWriter.h"

#include "libs/utils/DataBufQueueUtil.h"
#include "libs/utils/ThreadUtils.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

/// The microphone of one recorder, or a dump file in its place: chooses the device, takes the chunks that the capture
/// object cuts, and dumps what the reader takes where the settings say so.
///
/// Owner and threads: as AudioCaptureBase; chunks come on the delivery thread, or from "AudioCaptureMac", the service
/// thread, when a file is the source. Locks: none. mActiveCount is what they share with the control thread: 1 while
/// open. Close makes it 0 first, from then on a delivery tells mCloseEvent only; then it ends deliveries and the
/// thread, and waits for mCloseEvent, for two chunks' length and 2 seconds at most, so that none is inside when the
/// client's event goes. Life cycle:
///
/// | State                | mRecording | mImportFile | mActiveCount | Entered by                           |
/// |----------------------|------------|-------------|--------------|--------------------------------------|
/// | Closed               | no         | not reading | 0            | construction, Close, a refused Open  |
/// | Open from microphone | yes        | not reading | 1            | Open                                 |
/// | Open from file       | no         | reading     | 1            | Open, where the settings name a file |
///
/// OpenRec in a state other than Closed is refused. Required: a dump file whose header is refused stays the source, and
/// gives nothing.
class AudioCaptureMac final : public AudioCaptureBase {
public:
   AudioCaptureMac();
   ~AudioCaptureMac() override;

   bool Open(AudioUserPrefs &prefs, SyncMediaClock *clock) override;
   bool IsDataAvailable() override;
   bool GetData(MediaData &out) override;
   void ReleaseData() override;
   bool Close() override;
   AudioFacts Facts() const override;

   // ---- The steps of Open, in this order

   /// Hertz, bits of a sample (BPS_16K, asserted), channels, cut to 16 bits.
   void SetPCMFormat(uint32_t rate, uint32_t bitsPerSample, uint32_t channels);
   /// Sizes the queue and starts the source, the microphone `userId` or the default one: chunks of `chunkMS`
   /// milliseconds, `queueBuffers` of them. False, logged, except without memory for the close event, when the source
   /// runs until Close. `event` is not used after false.
   [[nodiscard]] bool OpenRec(const std::string &userId, uint32_t chunkMS, uint32_t queueBuffers, SyncMediaClock *clock,
                              HANDLE event);
   /// Starts the service thread. True.
   bool StartRec();

   /// The microphone that a preferred user id means, of the list as it stands: copied to `info`; `count` becomes the
   /// length of the list. False, logged, when there is none.
   [[nodiscard]] static bool GetWaveIdForPrefDev(const std::string &userId, MMDev::DeviceInfo &info, uint32_t &count);

   /// One chunk from the dump file, at its pace. False, logged, when the queue has no room or the file no sample.
   /// Service thread.
   bool CopyAudioFromFile();

   // ---- From the capture object, on the delivery thread

   /// Keeps the time at which a chunk begins.
   void TimestampCache();
   /// A chunk of the size that OpenRec has worked out (asserted) into the queue, and the cursor behind it: the bytes at
   /// the cursor, stamped with the kept time; or `cbytes` at `cache` and then `dbytes` at the cursor. False, logged,
   /// when the queue has no room. Required: the second form is stamped with the time now.
   [[nodiscard]] bool CopyRecordedData(const char **data, size_t bytes);
   [[nodiscard]] bool CopyRecordedData(const char **data, size_t dbytes, const char *cache, size_t cbytes);
   /// Signals the service thread and the client, or, while Close is under way, Close alone.
   void SendNotifs();

private:
   static bool AudioThreadCB(void *self, CRVThread *thread);
   [[nodiscard]] bool SizeQueue(uint32_t chunkMS, uint32_t queueBuffers);
   void OpenImport();
   [[nodiscard]] bool OpenMicrophone(const std::string &userId);
   void OpenDumps();
   /// Hands the filled slot to the reader, with its time; false without memory for that.
   [[nodiscard]] bool CommitChunk(uint64_t timeMS);
   bool CountChunk(bool isTaken);

   SyncMediaClock *mSyncClock = nullptr;
   uint64_t mTimestamp = 0; // the delivery thread's
   DataBufQueue mAudioQueue;
   uint32_t mWavDataChunk = 0;
   uint32_t mChunkDurationMS = 0;
   bool mRecording = false;
   int32_t mDeviceIndex = -1;
   CRVThread mAudioThread;
   std::atomic<HANDLE> mClientEvent{nullptr};
   std::atomic<HANDLE> mCloseEvent{nullptr};
   std::atomic<int32_t> mActiveCount{0};
   AVSampleHandler mExportFile; // the reader's
   AVSampleHandler mImportFile; // the service thread's while that runs
   WavFileWriter mPcmFile;      // the reader's
   void *mCapture;              // AVCapture, of AVCaptureRegister
   uint32_t mSampleRate = 0;
   uint32_t mBitsPerSample = 0;
   uint32_t mChannels = 0;
   std::atomic<uint64_t> mChunks{0};
   std::atomic<uint64_t> mLostChunks{0};
};

// The same as the capture object calls it; `obj` is an AudioCaptureMac and not null (asserted). Delivery thread.

void AVCapture_ACM_TimestampCache(void *obj);
/// `cache` null: the whole chunk is at the cursor.
[[nodiscard]] bool AVCapture_ACM_CopyRecordedData(void *obj, const char **data, size_t dbytes, const char *cache,
                                                  size_t cbytes);
void AVCapture_ACM_SendNotifs(void *obj);
