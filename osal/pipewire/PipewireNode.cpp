#include "osal/pipewire/PipewireNode.h"

#include <algorithm>
#include <set>

namespace osal {
namespace {

bool IsCameraClass(std::string_view mediaClass) {
   return mediaClass == "Video/Source" || mediaClass == "Video/Source/Virtual";
}

bool IsMicrophoneClass(std::string_view mediaClass) {
   return mediaClass == "Audio/Source" || mediaClass == "Audio/Source/Virtual" || mediaClass == "Audio/Duplex";
}

std::string PreferredId(const PipewireNode &node) {
   if (!node.name.empty()) {
      return node.name;
   }
   return !node.objectPath.empty() ? node.objectPath : "node " + std::to_string(node.serial);
}

} // namespace

bool IsOfKind(std::string_view mediaClass, PipewireNodeKind kind) {
   switch (kind) {
   case PipewireNodeKind::Camera:
      return IsCameraClass(mediaClass);
   case PipewireNodeKind::Microphone:
      return IsMicrophoneClass(mediaClass);
   case PipewireNodeKind::CameraOrMicrophone:
      break;
   }
   return IsCameraClass(mediaClass) || IsMicrophoneClass(mediaClass);
}

bool IsCapturable(const PipewireNode &node) {
   if (IsCameraClass(node.mediaClass)) {
      return node.mediaRole.empty() || node.mediaRole == "Camera";
   }
   return IsMicrophoneClass(node.mediaClass);
}

const std::string &DisplayName(const PipewireNode &node) {
   if (!node.description.empty()) {
      return node.description;
   }
   return !node.nick.empty() ? node.nick : node.name;
}

void SortBySerial(std::vector<PipewireNode> *nodes) {
   std::stable_sort(nodes->begin(), nodes->end(),
                    [](const PipewireNode &a, const PipewireNode &b) { return a.serial < b.serial; });
}

std::vector<std::string> UniqueIds(const std::vector<PipewireNode> &nodes) {
   // Plain ids first: a node that is really called "x (2)" keeps its id beside two that are called "x".
   std::vector<std::string> ids(nodes.size());
   std::set<std::string> taken;
   for (size_t i = 0; i < nodes.size(); ++i) {
      std::string id = PreferredId(nodes[i]);
      if (taken.insert(id).second) {
         ids[i] = std::move(id);
      }
   }
   for (size_t i = 0; i < nodes.size(); ++i) {
      if (!ids[i].empty()) {
         continue;
      }
      const std::string base = PreferredId(nodes[i]);
      std::string id = nodes[i].objectPath.empty() ? base : base + " (" + nodes[i].objectPath + ")";
      for (size_t number = 2; !taken.insert(id).second; ++number) {
         id = base + " (" + std::to_string(number) + ")";
      }
      ids[i] = std::move(id);
   }
   return ids;
}

} // namespace osal
