#pragma once

#include "osal/Status.h"

#include <pipewire/pipewire.h>

#include <chrono>
#include <string>

namespace osal {

/// Prepares the client library, once in the process. It is never taken down: the host may use it too. Any thread.
void InitialisePipewire();

/// How far a connection came; what diagnose() builds on.
enum class PipewireStage {
   Library,   ///< the client library can't work: plugins, modules or client.conf are missing
   Connect,   ///< the daemon can't be reached
   Listening, ///< connected; the daemon does not answer, or went away
   Answered,  ///< all is well
};

/// One connection to the daemon that is worked from the caller's own thread, with a bound on every wait.
///
/// Owner: a listing, on the stack. Threads: one, the one that made it; PipeWire's own helper thread ends with it.
/// Locks: none. Life cycle: constructed -> Open -> Roundtrip* -> destroyed, which takes everything with it, quickly and
/// without asking the daemon. Proxies made on it go first: they belong to objects that are declared behind it.
class PipewireConnection {
public:
   using Clock = std::chrono::steady_clock;

   PipewireConnection() = default;
   ~PipewireConnection();
   PipewireConnection(const PipewireConnection &) = delete;
   PipewireConnection &operator=(const PipewireConnection &) = delete;

   /// Connects. The reason of a failure names the cause and, from Connect on, the socket. Once.
   Status Open();

   /// Waits until the daemon has answered everything asked so far, but not beyond `deadline`. Events of the proxies
   /// arrive meanwhile. The deadline is one of real time, whatever clock a test has put in force.
   Status Roundtrip(Clock::time_point deadline);

   [[nodiscard]] pw_core *Core() const { return mCore; }
   [[nodiscard]] PipewireStage Stage() const { return mStage; }
   [[nodiscard]] const std::string &SocketPath() const { return mSocketPath; }

private:
   static void OnDone(void *data, uint32_t id, int sequence);
   static void OnError(void *data, uint32_t id, int sequence, int result, const char *message);
   static const pw_core_events kCoreEvents;

   Status LostDaemon() const;

   pw_loop *mLoop = nullptr;
   pw_context *mContext = nullptr;
   pw_core *mCore = nullptr;
   spa_hook mCoreHook{};
   std::string mSocketPath;
   PipewireStage mStage = PipewireStage::Library;
   int mAwaited = -1; ///< sequence number of the sync in flight
   bool mIsDone = false;
   bool mIsLost = false;
};

} // namespace osal
