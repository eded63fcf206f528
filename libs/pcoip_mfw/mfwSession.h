#pragma once

#include "libs/pcoip_mfw/PcoipHostTable.h"

#include <atomic>
#include <cstdint>
#include <functional>

class pcoip_channel;
class pcoip_mfw;

/// What ties the channels to the host: set-up and exit, the session's state, and starting channels.
///
/// Owner: the process. Threads: Init and Exit host-serialised, everything else any thread. Locks: mfwEndpointsLock
/// guards the list of endpoints; it is taken after a channel's lock, so no channel is closed under it. Life cycle:
/// constant at load -> Init -> Exit. Nothing is destroyed at exit of the process: threads may still run.

/// The host's table; null until Init succeeds. Stays set after Exit.
extern constinit std::atomic<const PcoipHostTable *> mfwHost;
/// Whether this process is the agent.
extern constinit std::atomic<bool> mfwServer;
/// The session's last state that was reported.
extern constinit std::atomic<bool> mfwConnected;

namespace mfw {

/// Registers with the host and starts the channels that wait for a session that is there already. Writes the word by
/// which the host knows this plugin, 0 on failure; `context` may be null. False when it has succeeded before, or
/// (logged) when the host refuses or its table lacks an operation.
[[nodiscard]] bool Init(const PcoipHostTable *table, uint64_t *context);
/// Unregisters. Nothing before a successful Init.
void Exit();

/// The host's word about the session (event 0) and about a channel that the other side asks for (event 1); the first
/// two arguments mean nothing.
void ConnectCallback(uint64_t a, uint64_t b, uint32_t event, const void *data);

/// Starts the threads of channels: of the first channel with that name, if it is started; for null of all that are
/// started, on the agent side. `lossy` is for the client side, where the other side says what a channel is.
void pcoipRunThread(const char *name, bool lossy);

/// Calls `visit` for the channel of each endpoint, in order of creation, with mfwEndpointsLock held.
void ForEachChannel(const std::function<void(const pcoip_channel &)> &visit);

/// Puts an endpoint at the end of the list; it takes itself out before its channel goes.
void AddEndpoint(const pcoip_mfw &endpoint, pcoip_channel &channel);
void RemoveEndpoint(const pcoip_mfw &endpoint);

} // namespace mfw
