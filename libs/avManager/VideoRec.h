#pragma once

#include "libs/avManager/AVSampleHandler.h"
#include "libs/avManager/MediaData.h"
#include "libs/avManager/NamedLogLimiter.h"
#include "libs/avManager/VideoBase.h"
#include "libs/avManager/VideoInputBase.h"
#include "libs/avManager/VideoRecState.h"

#include "libs/utils/DataBufQueueUtil.h"
#include "libs/utils/ThreadStopwatch.h"

#include <atomic>
#include <cstdint>
#include <memory>

/// Turns a camera into a queue of sized, time-stamped I420 frames.
///
///     VideoRec recorder;
///     VideoBase::UserPrefs prefs;            // size, rate, event
///     SyncMediaClock clock;
///     if (recorder.Open(prefs, &clock)) {
///        for (MediaData frame; WaitForSingleObject(prefs.mFrameEvent, 4000) == WAIT_OBJECT_0;) {
///           while (recorder.GetData(frame)) { Use(frame); recorder.ReleaseData(); }
///        }
///        recorder.Close();
///     }
///
/// A service thread waits for the camera's event, converts the frame straight into a free slot of the queue, stamps it
/// and sets the caller's event. A dump file can take the camera's place, and what the reader takes can be dumped.
///
/// Owner: the caller. Threads: Open and Close on the control thread, host-serialised; GetData, ReleaseData and
/// IsDataAvailable on one reader's thread, not during Open and Close. Locks: none of its own. Life cycle: as
/// VideoRecState; Open after a failed Open clears the error by itself. Counters are kept over Close.
class VideoRec final : public VideoBase {
public:
   /// On the platform's camera, or on the test's.
   explicit VideoRec(std::unique_ptr<VideoInputBase> input = VideoInputBase::Create());
   ~VideoRec() override;

   /// Starts capture; prefs.mFrameEvent is set for each frame. `clock` is not owned and outlives the capture. False,
   /// logged, when the camera cannot be had. May sleep for the settling time of a camera that was just closed.
   bool Open(UserPrefs &prefs, SyncMediaClock *clock) override;
   /// Stops capture. True when it was running.
   bool Close() override;

   /// The oldest frame, in place: it stays the reader's until ReleaseData, and a second call gives it again.
   [[nodiscard]] bool GetData(MediaData &out);
   [[nodiscard]] bool IsDataAvailable();
   void ReleaseData();
   /// Bytes of a frame; 0 when closed.
   [[nodiscard]] uint32_t GetFrameSize();
   /// Bytes of MediaData::mMeta: 8.
   [[nodiscard]] int32_t GetMetaSize() const;

   /// For people: frames that reached the queue, and events that brought none. Exact once closed. Any thread.
   [[nodiscard]] uint64_t GoodFrames() const { return mGoodFrames.load(std::memory_order_relaxed); }
   [[nodiscard]] uint64_t MissedFrames() const;
   /// The camera's own view; all zero while a file is the source. Control thread.
   [[nodiscard]] CaptureFacts CameraFacts() const { return mVideoInput->Facts(); }
   /// Which camera of VideoInputDevices::CachedList was opened; -1 for a file. Control thread, while open.
   [[nodiscard]] int32_t DeviceIndex() const { return mPrefs.mDeviceIndex; }
   /// Frames that wait in the queue. Any thread.
   [[nodiscard]] int32_t QueuedFrames();

   bool ServiceThreadCB() override;

private:
   enum class Pass { TookSlot, Nothing, GaveUp, Impossible };

   [[nodiscard]] bool OpenSource(uint32_t *frameSize);
   [[nodiscard]] bool OpenCamera(uint32_t *frameSize);
   void ReleaseCamera();
   void OpenImport();
   void OpenExport(uint32_t frameSize);

   [[nodiscard]] Pass TakeFromFile();
   [[nodiscard]] Pass TakeFromCamera();
   [[nodiscard]] Pass AwaitFrame();
   void CountMiss();
   void EndMissedRun();
   [[nodiscard]] DataBuffer *TakeSlot();

   void LogFPS();
   void LogDevFrameMetrics();

   std::unique_ptr<VideoInputBase> mVideoInput;
   DataBufQueue mVideoQueue;
   SyncMediaClock *mSyncClock = nullptr;
   ThreadStopwatch mFrameTimer;
   AVSampleHandler mExportFile;
   AVSampleHandler mImportFile;
   MediaFileHeader mImportHeader{};
   VideoRecState mRecState;
   bool mEnhancedLog = false;
   bool mFirstFrameSeen = false;
   std::atomic<uint64_t> mGoodFrames{0};
   std::atomic<uint64_t> mMissedTotal{0};
   std::atomic<uint64_t> mMissedRun{0};
   NamedLogLimiter mLogLimiter;
   HANDLE mHEvent;
};
