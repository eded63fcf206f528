#pragma once

#include "osal/CaptureDevice.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace osal {

/// Which nodes a listing asks for.
enum class PipewireNodeKind { Camera, Microphone, CameraOrMicrophone };

/// What the daemon says about one node. Texts are as they came: any length, not necessarily UTF-8, empty when absent.
struct PipewireNode {
   std::string mediaClass;
   std::string mediaRole;
   std::string name;        ///< node.name
   std::string nick;        ///< node.nick
   std::string description; ///< node.description
   std::string objectPath;  ///< object.path, "v4l2:/dev/video0"
   uint64_t serial = 0;     ///< object.serial: unique while the daemon lives, the right target for opening
   std::vector<CaptureDeviceFormat> formats;
};

/// Whether the class is one of the kind. Cheap and known before the node is bound; a class of either kind has to pass
/// IsCapturable too.
[[nodiscard]] bool IsOfKind(std::string_view mediaClass, PipewireNodeKind kind);

/// Whether the node is a camera or a microphone, and not a picture of something else.
///
/// A screen cast has the same class as a camera; the role tells them apart. Hardware cameras have the role "Camera"; a
/// virtual camera often has no role and counts too; "Screen" and any other role do not. Roles of microphones mean
/// nothing.
[[nodiscard]] bool IsCapturable(const PipewireNode &node);

/// The name for people: description, else nick, else name; empty only when all three are.
[[nodiscard]] const std::string &DisplayName(const PipewireNode &node);

/// Orders the nodes as they came to the daemon: by serial, those of equal serial as they are.
void SortBySerial(std::vector<PipewireNode> *nodes);

/// A persistent id for each node, all of them different, in the order of `nodes`, which is that of the serials.
///
/// The id is the node's name: the session manager stores its own choices by it, and builds it from the bus path or the
/// serial number of the hardware. A node without a name goes by its object path, then by its serial. When several nodes
/// share one name the first keeps it, so that an id stored while it was alone still finds it; each further one gets
/// " (object path)" behind the name, or, if that does not tell them apart, " (2)", " (3)" in order of appearance, which
/// is the same again after a restart when the devices appear in the same order.
[[nodiscard]] std::vector<std::string> UniqueIds(const std::vector<PipewireNode> &nodes);

} // namespace osal
