#pragma once

#include "libs/mmdr/device/DeviceInfo.h"

#include <cstdint>
#include <string>

/// Which camera of a list a request means.
struct CameraChoice {
   int32_t index = -1;   ///< into the list; -1 when the list is empty
   std::string systemId; ///< of the camera to open
};

/// The chain from a preference to a camera, in this order of trust: name and user id together; the name alone, the last
/// of several, when the user id finds nothing that agrees; the user id alone, whole and then by its first part (what
/// stands before the first '#', so that an id stored on another machine still finds its camera by name); the first
/// camera. Either text may be empty. Logged at DEBUG, an empty list at ERROR. Pure but for the log; any thread.
[[nodiscard]] CameraChoice ChooseCamera(const MMDev::DeviceList &cameras, const std::string &userId,
                                        const std::string &name);
