#include "osal/pipewire/PipewireDiagnosis.h"

#include <cctype>
#include <cerrno>

namespace osal {
namespace {

using Verdict = Finding::Verdict;

constexpr const char *kLibrary = "client library";
constexpr const char *kDaemon = "PipeWire daemon";
constexpr const char *kManager = "session manager";

std::string Sentence(std::string text) {
   if (!text.empty()) {
      text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
   }
   return text + ".";
}

/// What to do about a daemon that can't be reached or has gone.
std::string AdviceOn(int error) {
   switch (error) {
   case ENOENT:
      return "Start PipeWire in this user's session (systemctl --user start pipewire.socket wireplumber), and see that "
             "XDG_RUNTIME_DIR names the session's folder.";
   case EACCES:
   case EPERM:
      return "Run this program as the user whose session PipeWire belongs to, or correct the owner and mode of the "
             "socket and its folder.";
   case ETIMEDOUT:
      return "The daemon runs but is stopped or overloaded: restart it (systemctl --user restart pipewire "
             "wireplumber).";
   case ECONNREFUSED:
   case EPIPE:
      return "Start PipeWire again (systemctl --user restart pipewire.socket pipewire wireplumber).";
   default:
      return "Correct PIPEWIRE_REMOTE, PIPEWIRE_RUNTIME_DIR or XDG_RUNTIME_DIR so that they lead to PipeWire's socket.";
   }
}

Finding DevicesFinding(const std::vector<PipewireNode> &nodes, PipewireNodeKind kind, const char *check,
                       const char *one, const char *advice) {
   std::vector<std::string> names;
   for (const PipewireNode &node : nodes) {
      if (IsOfKind(node.mediaClass, kind)) {
         names.push_back(DisplayName(node));
      }
   }
   if (names.empty()) {
      return {Verdict::Warning, check, std::string("PipeWire has no ") + one + ".", advice};
   }
   std::string text = std::to_string(names.size()) + " " + one + (names.size() == 1 ? ": " : "s: ");
   for (size_t i = 0; i < names.size(); ++i) {
      text += (i == 0 ? "" : ", ") + names[i];
   }
   return {Verdict::Ok, check, text + ".", ""};
}

} // namespace

std::vector<Finding> DiagnosePipewire(const PipewireListing &listing) {
   if (listing.stage == PipewireStage::Library) {
      return {{Verdict::Failure, kLibrary, Sentence(listing.status.reason),
               "Install the packages that hold PipeWire's modules, plugins and client.conf (on Debian "
               "libpipewire-0.3-modules, libspa-0.2-modules and pipewire-bin)."}};
   }
   std::vector<Finding> findings{
      {Verdict::Ok, kLibrary, std::string("PipeWire's client library ") + pw_get_library_version() + " is complete.",
       ""}};
   if (!listing.status.ok()) {
      findings.push_back({Verdict::Failure, kDaemon, Sentence(listing.status.reason), AdviceOn(listing.status.code)});
      return findings;
   }
   findings.push_back({Verdict::Ok, kDaemon, "The PipeWire daemon at " + listing.socketPath + " answers.", ""});
   if (listing.hasSessionManager) {
      findings.push_back({Verdict::Ok, kManager, "A session manager keeps the default devices.", ""});
   } else {
      findings.push_back({Verdict::Failure, kManager,
                          "No session manager runs: hardware does not show, and no camera or microphone would start.",
                          "Start one (systemctl --user start wireplumber)."});
   }
   findings.push_back(DevicesFinding(listing.nodes, PipewireNodeKind::Camera, "cameras", "camera",
                                     "Plug one in, or see that the user may use it (group video) and that no other "
                                     "program holds it outside PipeWire."));
   findings.push_back(DevicesFinding(listing.nodes, PipewireNodeKind::Microphone, "microphones", "microphone",
                                     "Plug one in, or choose a profile with an input for the sound card."));
   return findings;
}

} // namespace osal
