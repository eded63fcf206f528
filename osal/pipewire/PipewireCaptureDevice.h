#pragma once

#include "osal/CaptureDevice.h"
#include "osal/pipewire/PipewireNode.h"

#include <string>
#include <utility>
#include <vector>

namespace osal {

/// A camera or microphone of the daemon, with what opening it needs to know.
///
/// Owner, threads, life cycle: as CaptureDevice. Locks: none; nothing changes.
class PipewireCaptureDevice final : public CaptureDevice {
public:
   PipewireCaptureDevice(PipewireNode node, std::string uniqueId)
       : mNode(std::move(node))
       , mUniqueId(std::move(uniqueId)) {}

   std::string localizedName() const override { return DisplayName(mNode); }
   std::string uniqueID() const override { return mUniqueId; }
   std::vector<CaptureDeviceFormat> formats() const override { return mNode.formats; }

   [[nodiscard]] const PipewireNode &Node() const { return mNode; }

private:
   const PipewireNode mNode;
   const std::string mUniqueId;
};

} // namespace osal
