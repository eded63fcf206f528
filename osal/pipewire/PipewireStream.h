#pragma once

#include "osal/common/CaptureStream.h"

#include <pipewire/pipewire.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace osal {

/// One running capture from a node of the daemon: what video and sound have in common.
///
/// Owner: the session, through CaptureStream. Threads: constructed, opened and destroyed on the host's thread; the
/// virtual methods run on the loop's thread, which is also the delivery thread; Stop and Health on any. Locks: the
/// thread loop's, held by PipeWire during events; mMutex for the health. Life cycle: constructed -> Open -> Stop ->
/// destroyed, all of which is local: it takes no answer of the daemon, so that a dead or frozen one holds nobody up.
/// The most derived class calls Shutdown in its destructor, before its own fields go.
class PipewireStream : public CaptureStream {
public:
   ~PipewireStream() override;
   PipewireStream(const PipewireStream &) = delete;
   PipewireStream &operator=(const PipewireStream &) = delete;

   void Stop() override;
   [[nodiscard]] Status Health() const override;

protected:
   /// How long nothing may come before the device counts as stalled, and the daemon as not answering.
   static constexpr uint64_t kPatienceNs = 2'000'000'000;

   explicit PipewireStream(std::shared_ptr<DelegateGate> gate)
       : mGate(std::move(gate)) {}

   /// Connects to the daemon and then to the node with this serial. On failure nothing runs.
   Status Open(pw_properties *properties, uint64_t serial);
   void Shutdown();

   /// Asks for formats: fills `params` with EnumFormat objects, best first, and connects `stream`.
   virtual int Connect(pw_stream *stream) = 0;
   /// The format that was agreed on; answers with pw_stream_update_params.
   virtual void TakeFormat(const spa_pod *format) = 0;
   /// At least one buffer waits.
   virtual void Process() = 0;
   /// A buffer belongs to the stream from now on, and no longer.
   virtual void AddBuffer(pw_buffer * /*buffer*/) {}
   virtual void RemoveBuffer(pw_buffer * /*buffer*/) {}
   /// The stream is about to end, and all its buffers with it.
   virtual void RemoveAllBuffers() {}

   /// Flags for pw_stream_connect: without DONT_RECONNECT the session manager would move the stream to another device.
   static constexpr auto kFlags =
      static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_DONT_RECONNECT);

   [[nodiscard]] DelegateGate &Gate() { return *mGate; }
   [[nodiscard]] pw_stream *Stream() { return mStream; }
   /// Something came from the device.
   void NoteArrival();
   /// Why nothing comes any more; the first word stays.
   void NoteTrouble(Status trouble);
   /// Takes a trouble back that a new format has cured.
   void ForgetTrouble();

private:
   static void OnCoreDone(void *data, uint32_t id, int sequence);
   static void OnCoreError(void *data, uint32_t id, int sequence, int result, const char *message);
   static void OnState(void *data, pw_stream_state old, pw_stream_state state, const char *error);
   static void OnParam(void *data, uint32_t id, const spa_pod *param);
   static void OnProcess(void *data);
   static void OnAddBuffer(void *data, pw_buffer *buffer);
   static void OnRemoveBuffer(void *data, pw_buffer *buffer);
   static void OnStop(void *data, uint64_t count);
   static const pw_core_events kCoreEvents;
   static const pw_stream_events kStreamEvents;

   Status ConnectToNode(pw_properties *properties);
   void DestroyStream();

   const std::shared_ptr<DelegateGate> mGate;
   pw_thread_loop *mLoop = nullptr;
   pw_context *mContext = nullptr;
   pw_core *mCore = nullptr;
   pw_stream *mStream = nullptr;
   spa_source *mStopEvent = nullptr;
   spa_hook mCoreHook{};
   spa_hook mStreamHook{};
   int mFirstSync = -1;
   bool mIsLoopRunning = false;
   std::atomic<bool> mHasAnswered{false};
   std::atomic<uint64_t> mStartedNs{0};
   std::atomic<uint64_t> mLastArrivalNs{0};
   mutable std::mutex mMutex;
   Status mTrouble; // guarded by mMutex
};

} // namespace osal
