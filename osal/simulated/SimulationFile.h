#pragma once

#include "osal/Status.h"
#include "osal/simulated/Simulation.h"

#include <cstddef>
#include <string_view>

namespace osal {

/// A larger simulation file is refused unread.
inline constexpr size_t kSimulationFileLimit = size_t{16} << 20;

/// Reads the text of a simulation file; docs/formats/simulation-file.md is its grammar.
///
/// `*simulation` is replaced on success and as it was on failure. A failure's reason says where and why:
/// "4:18: cameras[0].formats[1].width must be a whole number from 0 to 16384". Keys that are not known are tolerated
/// and named in the warnings. A pure function; nothing is thrown.
[[nodiscard]] Status ParseSimulation(std::string_view text, Simulation *simulation);

} // namespace osal
