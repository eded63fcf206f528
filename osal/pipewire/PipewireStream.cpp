#include "osal/pipewire/PipewireStream.h"

#include "osal/Clock.h"
#include "osal/pipewire/PipewireConnection.h"
#include "osal/pipewire/PipewireSocket.h"

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>

namespace osal {
namespace {

std::string Message(int error) {
   return std::generic_category().message(error);
}

Status LibraryTrouble(const char *what) {
   const int error = errno != 0 ? errno : ENOSYS;
   return Status::Error(error, std::string(what) + ": " + Message(error));
}

// PipeWire's time is the system's, whatever clock a test has put in force.
uint64_t NowNs() {
   const auto now = std::chrono::steady_clock::now().time_since_epoch();
   return static_cast<uint64_t>(std::chrono::nanoseconds(now).count());
}

} // namespace

constinit const pw_core_events PipewireStream::kCoreEvents = [] {
   pw_core_events events{};
   events.version = PW_VERSION_CORE_EVENTS;
   events.done = &PipewireStream::OnCoreDone;
   events.error = &PipewireStream::OnCoreError;
   return events;
}();

constinit const pw_stream_events PipewireStream::kStreamEvents = [] {
   pw_stream_events events{};
   events.version = PW_VERSION_STREAM_EVENTS;
   events.state_changed = &PipewireStream::OnState;
   events.param_changed = &PipewireStream::OnParam;
   events.process = &PipewireStream::OnProcess;
   events.add_buffer = &PipewireStream::OnAddBuffer;
   events.remove_buffer = &PipewireStream::OnRemoveBuffer;
   return events;
}();

PipewireStream::~PipewireStream() {
   Shutdown();
}

Status PipewireStream::Open(pw_properties *properties, uint64_t serial) {
   InitialisePipewire();
   pw_properties_setf(properties, "target.object", "%llu", static_cast<unsigned long long>(serial));
   mLoop = pw_thread_loop_new("MAVR capture", nullptr);
   if (mLoop == nullptr) {
      pw_properties_free(properties);
      return LibraryTrouble("the PipeWire client library cannot load its plugins");
   }
   pw_loop *const loop = pw_thread_loop_get_loop(mLoop);
   mContext = pw_context_new(loop, nullptr, 0);
   if (mContext == nullptr) {
      pw_properties_free(properties);
      return LibraryTrouble("the PipeWire client library cannot load client.conf or the modules it names");
   }
   if (const int result = pw_thread_loop_start(mLoop); result < 0) {
      pw_properties_free(properties);
      return Status::Error(-result, "the capture thread cannot be started: " + Message(-result));
   }
   mIsLoopRunning = true;
   pw_thread_loop_lock(mLoop);
   Status status = ConnectToNode(properties);
   pw_thread_loop_unlock(mLoop);
   return status;
}

Status PipewireStream::ConnectToNode(pw_properties *properties) {
   mCore = pw_context_connect(mContext, nullptr, 0);
   mStopEvent = pw_loop_add_event(pw_thread_loop_get_loop(mLoop), &PipewireStream::OnStop, this);
   if (mCore == nullptr || mStopEvent == nullptr) {
      pw_properties_free(properties);
      return mCore == nullptr ? ExplainSocket() : LibraryTrouble("a PipeWire event cannot be made");
   }
   pw_core_add_listener(mCore, &mCoreHook, &kCoreEvents, this);
   mFirstSync = pw_core_sync(mCore, PW_ID_CORE, 0);
   mStream = pw_stream_new(mCore, "MAVR", properties);
   if (mStream == nullptr) {
      return LibraryTrouble("a PipeWire stream cannot be made");
   }
   pw_stream_add_listener(mStream, &mStreamHook, &kStreamEvents, this);
   mStartedNs = NowNs();
   mLastArrivalNs = mStartedNs.load();
   const int result = Connect(mStream);
   return result >= 0 ? Status::Ok()
                      : Status::Error(-result, "a PipeWire stream cannot be connected: " + Message(-result));
}

void PipewireStream::Stop() {
   if (mStopEvent != nullptr) {
      pw_loop_signal_event(pw_thread_loop_get_loop(mLoop), mStopEvent);
   }
}

void PipewireStream::OnStop(void *data, uint64_t) {
   static_cast<PipewireStream *>(data)->DestroyStream();
}

void PipewireStream::DestroyStream() {
   if (mStream != nullptr) {
      spa_hook_remove(&mStreamHook);
      RemoveAllBuffers();
      pw_stream_destroy(mStream);
      mStream = nullptr;
   }
}

void PipewireStream::Shutdown() {
   if (mLoop == nullptr) {
      return;
   }
   if (mIsLoopRunning) {
      pw_thread_loop_lock(mLoop);
   }
   DestroyStream();
   if (mCore != nullptr) {
      spa_hook_remove(&mCoreHook);
      pw_core_disconnect(mCore);
   }
   if (mStopEvent != nullptr) {
      pw_loop_destroy_source(pw_thread_loop_get_loop(mLoop), mStopEvent);
   }
   if (mIsLoopRunning) {
      pw_thread_loop_unlock(mLoop);
      pw_thread_loop_stop(mLoop);
   }
   if (mContext != nullptr) {
      pw_context_destroy(mContext);
   }
   pw_thread_loop_destroy(mLoop);
   mLoop = nullptr;
}

// ---- Health ---------------------------------------------------------------------------------------------------------

void PipewireStream::NoteArrival() {
   mLastArrivalNs.store(NowNs(), std::memory_order_relaxed);
}

void PipewireStream::NoteTrouble(Status trouble) {
   const std::lock_guard<std::mutex> hold(mMutex);
   if (mTrouble.ok()) {
      mTrouble = std::move(trouble);
   }
}

void PipewireStream::ForgetTrouble() {
   const std::lock_guard<std::mutex> hold(mMutex);
   mTrouble = Status::Ok();
}

// A frozen daemon and a stalled device send no event at all: time tells.
Status PipewireStream::Health() const {
   {
      const std::lock_guard<std::mutex> hold(mMutex);
      if (!mTrouble.ok()) {
         return mTrouble;
      }
   }
   const uint64_t now = NowNs();
   if (!mHasAnswered && now - mStartedNs > kPatienceNs) {
      return Status::Error(ETIMEDOUT, "the PipeWire daemon at " + PipewireSocketPath() + " does not answer");
   }
   if (now - mLastArrivalNs > kPatienceNs) {
      return Status::Error(ETIMEDOUT, "the device has sent nothing for 2 seconds or more");
   }
   return Status::Ok();
}

// ---- Events, on the loop's thread -----------------------------------------------------------------------------------

void PipewireStream::OnCoreDone(void *data, uint32_t id, int sequence) {
   auto *const self = static_cast<PipewireStream *>(data);
   if (id == PW_ID_CORE && sequence == self->mFirstSync) {
      self->mHasAnswered = true;
   }
}

void PipewireStream::OnCoreError(void *data, uint32_t id, int, int result, const char *) {
   // Any other error concerns one object and shows in the stream's state.
   if (id == PW_ID_CORE && result == -EPIPE) {
      static_cast<PipewireStream *>(data)->NoteTrouble(
         Status::Error(EPIPE, "the PipeWire daemon at " + PipewireSocketPath() + " closed the connection"));
   }
}

void PipewireStream::OnState(void *data, pw_stream_state, pw_stream_state state, const char *error) {
   auto *const self = static_cast<PipewireStream *>(data);
   if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED) {
      self->NoteTrouble(Status::Error(ENODEV, error != nullptr
                                                 ? "the device's stream has ended: " + std::string(error)
                                                 : "the device is gone, or offers no format that can be converted"));
   }
}

void PipewireStream::OnParam(void *data, uint32_t id, const spa_pod *param) {
   if (id == SPA_PARAM_Format && param != nullptr) {
      static_cast<PipewireStream *>(data)->TakeFormat(param);
   }
}

void PipewireStream::OnProcess(void *data) {
   auto *const self = static_cast<PipewireStream *>(data);
   if (self->mStream != nullptr) {
      self->Process();
   }
}

void PipewireStream::OnAddBuffer(void *data, pw_buffer *buffer) {
   static_cast<PipewireStream *>(data)->AddBuffer(buffer);
}

void PipewireStream::OnRemoveBuffer(void *data, pw_buffer *buffer) {
   static_cast<PipewireStream *>(data)->RemoveBuffer(buffer);
}

} // namespace osal
