#include "tools/mavr/Checkup.h"

#include "tools/mavr/Output.h"
#include "tools/mavr/Policy.h"

#include "lib/corvanebase/corvanebase.h"
#include "lib/log/Log.h"
#include "libs/utils/ConfigSettings.h"
#include "libs/utils/RegUtils.h"
#include "libs/utils/StringUtils.h"
#include "osal/Places.h"
#include "osal/Platform.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace mavr {
namespace {

using Verdict = Finding::Verdict;

Finding Ok(std::string check, std::string result) {
   return {Verdict::Ok, std::move(check), std::move(result), ""};
}

// The nearest folder above `path` that exists.
std::filesystem::path ExistingFolder(std::filesystem::path path) {
   std::error_code error;
   do {
      path = path.parent_path();
   } while (!path.empty() && path != path.root_path() && !std::filesystem::exists(path, error));
   return path;
}

// Writes, keeps and removes a small file in `folder`, which finds permissions, read-only disks and full ones alike.
// Empty on success, else the reason.
std::string TryWriting(const std::filesystem::path &folder) {
   std::string name = (folder / ".mavr-doctor-XXXXXX").string();
   const int file = mkostemp(name.data(), O_CLOEXEC);
   if (file < 0) {
      return std::strerror(errno);
   }
   static constexpr char kBlock[4096] = {};
   const bool kept = write(file, kBlock, sizeof kBlock) == static_cast<ssize_t>(sizeof kBlock) && fsync(file) == 0;
   const int reason = errno;
   close(file);
   unlink(name.c_str());
   return kept ? "" : std::strerror(reason);
}

std::string Lower(const std::string &text) {
   return StringUtils::ToLower(text);
}

bool ContainsEither(const std::string &one, const std::string &other) {
   return !one.empty() && !other.empty() &&
          (one.find(other) != std::string::npos || other.find(one) != std::string::npos);
}

std::string RawName(const std::string &userId) {
   return userId.substr(0, userId.find('#'));
}

struct StoredChoice {
   std::string id;
   std::string name;
};

StoredChoice ReadStoredChoice(int32_t type) {
   const bool camera = type == MMDR_DEV_VIDEO;
   return {RegUtils::GetString("", camera ? "srcWCamId" : "srcAudioInId", ""),
           RegUtils::GetString("", camera ? "srcWCamName" : "srcAudioInName", "")};
}

std::string LogFolder() {
   char *const expanded = Util_ExpandString((osal::places::userLibraryFolder() + "/Logs/Corvane").c_str());
   std::string folder = expanded != nullptr ? expanded : "";
   std::free(expanded);
   return folder;
}

} // namespace

Finding CheckSettingsFile() {
   const auto store = osal::Platform::openPreferences(ConfigSettings::kApplicationId);
   const std::string file = store->location();
   static_cast<void>(store->copyAppValue("srcWCamId"));
   if (const osal::Status trouble = store->takeTrouble(); !trouble.ok()) {
      return {Verdict::Failure, "settings file", trouble.reason,
              "Mend or remove the file named here; settings read as their defaults until then."};
   }
   const std::filesystem::path folder = ExistingFolder(file);
   if (const std::string reason = TryWriting(folder); !reason.empty()) {
      return {Verdict::Failure, "settings file", "Nothing can be written to " + folder.string() + ": " + reason + ".",
              "Give this user the right to write there, or free space on the disk."};
   }
   std::error_code error;
   if (const std::string damaged = file + ".damaged"; std::filesystem::exists(damaged, error)) {
      return {Verdict::Warning, "settings file", "A damaged settings file was put aside as " + damaged + ".",
              "Take over from it what is missed, then remove it."};
   }
   const bool present = std::filesystem::exists(file, error);
   return Ok("settings file", present ? file : file + " does not exist yet; defaults apply.");
}

std::vector<Finding> CheckPlatform() {
   return osal::Platform::devices().diagnose();
}

Finding CheckConfiguration() {
   if (const char *const trouble = Preference_Trouble(); trouble != nullptr) {
      return {Verdict::Failure, "configuration", trouble,
              "Mend the file named here; its keys have no effect until then."};
   }
   for (const std::string &file : osal::places::configurationFiles()) {
      std::error_code error;
      if (std::filesystem::exists(file, error)) {
         return Ok("configuration", file);
      }
   }
   return Ok("configuration", "No configuration file; defaults apply.");
}

Finding CheckLog() {
   if (const char *const path = Log_GetFilePath(); path != nullptr) {
      const std::filesystem::path folder = ExistingFolder(std::filesystem::absolute(path));
      const std::string reason = TryWriting(folder);
      return reason.empty()
                ? Ok("log file", path)
                : Finding{Verdict::Failure, "log file", std::string(path) + " cannot be continued: " + reason + ".",
                          "Free space on the disk, or move the log with MAVR.log.fileName."};
   }
   const std::string area = LogFolder();
   if (area.empty()) {
      return {Verdict::Failure, "log file", "This user has no home folder for the log.", "Set HOME or XDG_STATE_HOME."};
   }
   const std::filesystem::path folder = ExistingFolder(area + "/file");
   const std::string reason = TryWriting(folder);
   return {Verdict::Failure, "log file",
           reason.empty() ? "The log could not be opened, though " + folder.string() + " can be written."
                          : "Nothing can be written to " + folder.string() + ": " + reason + ".",
           reason.empty() ? "Look at MAVR.log.fileName in the configuration: it must name a plain file."
                          : "Give this user the right to write there, or set XDG_STATE_HOME to another folder."};
}

Finding CheckSwitch(Library &library) {
   if (library.Enabled()) {
      return Ok("user's switch", "Redirection is on.");
   }
   return {Verdict::Warning, "user's switch", "Redirection is switched off (the setting IsDisabled is true).",
           "Switch it on in the client's settings."};
}

Finding CheckPolicy() {
   const Policy policy = ReadPolicy();
   std::string limits;
   for (const auto &[name, value] : policy.numbers) {
      limits += (limits.empty() ? "" : ", ") + name + " " + std::to_string(value);
   }
   if (policy.disabled != 0) {
      return {Verdict::Warning, "policy",
              std::string("Policy disables ") + DisabledText(policy.disabled) +
                 (limits.empty() ? "." : "; limits: " + limits + "."),
              "Whoever administers this machine can lift it (DisableMAVR)."};
   }
   if (!limits.empty()) {
      return {Verdict::Warning, "policy", "Policy limits the camera: " + limits + ".",
              "Nothing to do, unless the picture should be larger or faster than that."};
   }
   return Ok("policy", "Nothing is limited.");
}

const Device *FindAlike(const std::vector<Device> &present, const std::string &id, const std::string &name) {
   const std::string wanted[] = {name, RawName(id)};
   for (const std::string &text : wanted) {
      for (const Device &device : present) {
         if (!text.empty() && (device.name == text || RawName(device.userId) == text)) {
            return &device;
         }
      }
   }
   for (const std::string &text : wanted) {
      for (const Device &device : present) {
         if (ContainsEither(Lower(device.name), Lower(text))) {
            return &device;
         }
      }
   }
   return nullptr;
}

Finding CheckPreference(Library &library, int32_t type) {
   const std::string kind = type == MMDR_DEV_VIDEO ? "camera" : "microphone";
   const std::string check = "preferred " + kind;
   const StoredChoice stored = ReadStoredChoice(type);
   if (stored.id.empty() && stored.name.empty()) {
      return Ok(check, "None is stored; the session chooses.");
   }
   if (const auto selected = library.Preferred(type)) {
      return Ok(check, selected->name + " (" + selected->userId + ")");
   }
   const auto present = library.Devices(type);
   const std::string absent = "'" + (stored.name.empty() ? stored.id : stored.name) + "' is stored and absent.";
   if (const Device *const alike = FindAlike(present, stored.id, stored.name)) {
      return {Verdict::Warning, check, absent + " '" + alike->name + "' is present and looks like it.",
              "If it is the one: mavr prefer " + kind + " --id '" + alike->userId + "'"};
   }
   return {Verdict::Warning, check, absent + " Nothing like it is present.",
           "Plug it in, or choose another: 'mavr devices', then 'mavr prefer " + kind + "'."};
}

Finding CheckOption(Library &library) {
   const uint32_t option = library.Option();
   if (const auto name = OptionName(option)) {
      return Ok("microphone option", *name);
   }
   return {Verdict::Failure, "microphone option",
           "The stored option " + std::to_string(option) + " is none of 0, 1, 2.",
           "Store a valid one: 'mavr option all'."};
}

} // namespace mavr
