#pragma once

#include "osal/Status.h"
#include "osal/pipewire/PipewireConnection.h"
#include "osal/pipewire/PipewireNode.h"

#include <chrono>
#include <string>
#include <vector>

namespace osal {

/// The longest that a listing waits for the daemon, all waits together: with what is done before and after, the whole
/// call stays within 2 seconds.
inline constexpr std::chrono::milliseconds kPipewireWait{1900};

/// What one look at the daemon gave.
struct PipewireListing {
   Status status;
   PipewireStage stage = PipewireStage::Library;
   std::string socketPath;
   bool hasSessionManager = false;  ///< without one no stream ever starts, and hardware has no nodes
   std::string defaultCamera;       ///< node.name of the session manager's choice; empty without one
   std::string defaultMicrophone;   ///< the same
   std::vector<PipewireNode> nodes; ///< the capturable ones, by serial
};

/// Lists the nodes of a kind: connects, takes the list, asks each node of the kind for its facts, and disconnects.
///
/// Takes two round trips. Only nodes of the kind are bound, and formats asked of cameras only, so that other streams of
/// the machine cost nothing. Any thread; nothing is left behind. On failure there are no nodes, and the rest says how
/// far it came.
[[nodiscard]] PipewireListing ListPipewireNodes(PipewireNodeKind kind, std::chrono::milliseconds wait = kPipewireWait);

} // namespace osal
