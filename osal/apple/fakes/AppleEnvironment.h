#pragma once

namespace fakes {

/// What the base library makes once and keeps for ever is made here, out of sight of the leak checker. Before anything
/// else, on the main thread.
void WarmUp();

} // namespace fakes
