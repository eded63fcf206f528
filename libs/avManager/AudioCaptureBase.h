#pragma once

#include "libs/avManager/AudioBase.h"
#include "libs/avManager/AudioFacts.h"
#include "libs/avManager/MediaData.h"
#include "libs/avManager/devices/AudioInputDevices.h"

#include <memory>

class SyncMediaClock;

/// A microphone as its recorder sees it: opened with a request, it fills a queue with chunks of one size and sets an
/// event for each. The lists of microphones are its static part.
///
/// Owner: AudioRec. Threads: Open, Close and the destructor on the control thread, host-serialised; the others on one
/// reader's thread, not during Open and Close; Facts on either. Locks: none of its own. Life cycle: closed -> Open ->
/// open -> Close -> closed; after an Open that failed too, Close makes it closed. The destructor closes.
class AudioCaptureBase : public AudioInputDevices {
public:
   AudioCaptureBase() = default;
   AudioCaptureBase(const AudioCaptureBase &) = delete;
   AudioCaptureBase &operator=(const AudioCaptureBase &) = delete;
   virtual ~AudioCaptureBase() = default;

   /// Starts. `clock` is not owned and outlives the capture. False, logged, when it can't; so it is while open.
   [[nodiscard]] virtual bool Open(AudioUserPrefs &prefs, SyncMediaClock *clock) = 0;
   [[nodiscard]] virtual bool IsDataAvailable() = 0;
   /// The oldest chunk, in place: it stays the reader's until ReleaseData, and a second call gives it again. False when
   /// none waits. Chunks that were left when capture was closed can still be read.
   [[nodiscard]] virtual bool GetData(MediaData &out) = 0;
   virtual void ReleaseData() = 0;
   /// Ends everything. True when a microphone was captured from.
   virtual bool Close() = 0;

   [[nodiscard]] virtual AudioFacts Facts() const = 0;

   /// The platform's microphone.
   [[nodiscard]] static std::unique_ptr<AudioCaptureBase> Create();
};
