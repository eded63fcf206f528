#pragma once

#include "osal/Devices.h"
#include "osal/pipewire/PipewireListing.h"

#include <vector>

namespace osal {

/// Turns a listing of all kinds into findings: one for each thing that a working camera stands on, from the client
/// library up to the devices, ending at the first that is missing where nothing above it can be known.
[[nodiscard]] std::vector<Finding> DiagnosePipewire(const PipewireListing &listing);

} // namespace osal
