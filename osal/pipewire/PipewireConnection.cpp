#include "osal/pipewire/PipewireConnection.h"

#include "osal/pipewire/PipewireSocket.h"

#include <cerrno>
#include <mutex>
#include <system_error>

namespace osal {
namespace {

std::string Message(int error) {
   return std::generic_category().message(error);
}

Status LibraryTrouble(const char *what, int error) {
   return Status::Error(error != 0 ? error : ENOSYS, std::string(what) + ": " + Message(error != 0 ? error : ENOSYS));
}

} // namespace

void InitialisePipewire() {
   static std::once_flag once;
   std::call_once(once, [] { pw_init(nullptr, nullptr); });
}

constinit const pw_core_events PipewireConnection::kCoreEvents = [] {
   pw_core_events events{};
   events.version = PW_VERSION_CORE_EVENTS;
   events.done = &PipewireConnection::OnDone;
   events.error = &PipewireConnection::OnError;
   return events;
}();

PipewireConnection::~PipewireConnection() {
   if (mCore != nullptr) {
      spa_hook_remove(&mCoreHook);
      pw_core_disconnect(mCore);
   }
   if (mContext != nullptr) {
      pw_context_destroy(mContext);
   }
   if (mLoop != nullptr) {
      pw_loop_leave(mLoop);
      pw_loop_destroy(mLoop);
   }
}

Status PipewireConnection::Open() {
   InitialisePipewire();
   mSocketPath = PipewireSocketPath();
   mLoop = pw_loop_new(nullptr);
   if (mLoop == nullptr) {
      return LibraryTrouble("the PipeWire client library cannot load its plugins", errno);
   }
   pw_loop_enter(mLoop);
   mContext = pw_context_new(mLoop, nullptr, 0);
   if (mContext == nullptr) {
      return LibraryTrouble("the PipeWire client library cannot load client.conf or the modules it names", errno);
   }
   mStage = PipewireStage::Connect;
   mCore = pw_context_connect(mContext, nullptr, 0);
   if (mCore == nullptr) {
      return ExplainSocket();
   }
   mStage = PipewireStage::Listening;
   pw_core_add_listener(mCore, &mCoreHook, &kCoreEvents, this);
   return Status::Ok();
}

Status PipewireConnection::Roundtrip(Clock::time_point deadline) {
   mIsDone = false;
   mAwaited = pw_core_sync(mCore, PW_ID_CORE, 0);
   if (mAwaited < 0) {
      return LostDaemon();
   }
   while (!mIsDone && !mIsLost) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      if (left <= 0) {
         return Status::Error(ETIMEDOUT, "the PipeWire daemon at " + mSocketPath + " does not answer");
      }
      const int result = pw_loop_iterate(mLoop, static_cast<int>(left));
      if (result < 0 && result != -EINTR) {
         return Status::Error(-result,
                              "waiting for the PipeWire daemon at " + mSocketPath + " failed: " + Message(-result));
      }
   }
   if (mIsLost) {
      return LostDaemon();
   }
   mStage = PipewireStage::Answered;
   return Status::Ok();
}

Status PipewireConnection::LostDaemon() const {
   return Status::Error(EPIPE, "the PipeWire daemon at " + mSocketPath + " closed the connection");
}

void PipewireConnection::OnDone(void *data, uint32_t id, int sequence) {
   auto *const self = static_cast<PipewireConnection *>(data);
   self->mIsDone = self->mIsDone || (id == PW_ID_CORE && sequence == self->mAwaited);
}

void PipewireConnection::OnError(void *data, uint32_t id, int, int result, const char *) {
   // Other errors concern one object, which is then missing from the listing: a node that went before it was bound.
   auto *const self = static_cast<PipewireConnection *>(data);
   self->mIsLost = self->mIsLost || (id == PW_ID_CORE && result == -EPIPE);
}

} // namespace osal
