#pragma once

#include "libs/avManager/AudioCaptureBase.h"

#include <memory>

/// Turns a microphone into a queue of time-stamped chunks of one size: signed 16-bit little-endian mono samples.
///
///     AudioRec recorder;
///     AudioUserPrefs prefs;
///     prefs.mChunkMS = 20;
///     prefs.mQueueBuffers = 50;              // a second of chunks
///     prefs.mSampleRate = 48000;
///     prefs.mDataEvent = CreateEvent(nullptr, false, false, nullptr);
///     SyncMediaClock clock;
///     if (recorder.Open(prefs, &clock)) {
///        while (WaitForSingleObject(prefs.mDataEvent, 4000) == WAIT_OBJECT_0) {
///           for (MediaData chunk; recorder.GetData(chunk); recorder.ReleaseData()) { Use(chunk); }
///        }
///        recorder.Close();
///     }
///
/// Ids of microphones are looked for in AudioCaptureBase::CachedList, as it stands: List before, to have them current.
/// A reader that is too slow loses the newest chunks, whole; what waits for it is never more than the slots hold.
///
/// Owner: the caller. Threads and locks: as AudioCaptureBase. Life cycle: closed -> Open -> open -> Close; Open closes
/// first, and so does the destructor.
class AudioRec {
public:
   /// On the platform's microphone, or on the test's.
   explicit AudioRec(std::unique_ptr<AudioCaptureBase> capture = AudioCaptureBase::Create());
   AudioRec(const AudioRec &) = delete;
   AudioRec &operator=(const AudioRec &) = delete;

   /// Starts capture anew; prefs.mDataEvent is set for each chunk. `clock` is not owned and outlives the capture.
   /// False, logged, when the request or the microphone is refused.
   [[nodiscard]] bool Open(AudioUserPrefs &prefs, SyncMediaClock *clock);
   void Close();

   // As AudioCaptureBase; false without one.
   [[nodiscard]] bool IsDataAvailable();
   [[nodiscard]] bool GetData(MediaData &out);
   bool ReleaseData();
   [[nodiscard]] AudioFacts Facts() const;

private:
   std::unique_ptr<AudioCaptureBase> mCapture;
   SyncMediaClock *mSyncClock = nullptr;
   AudioUserPrefs mPrefs;
};
