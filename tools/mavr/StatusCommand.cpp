#include "tools/mavr/Commands.h"
#include "tools/mavr/Library.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/Policy.h"

#include "lib/log/Log.h"
#include "libs/utils/ConfigSettings.h"
#include "osal/Platform.h"

#include <nlohmann/json.hpp>

#include <memory>

namespace mavr {
namespace {

struct Status {
   bool enabled = false;
   Policy policy;
   uint32_t option = 0;
   std::optional<Device> camera;
   std::optional<Device> microphone;
   std::string platform;
   std::string settings;
   std::optional<std::string> log;
};

Status Gather() {
   Library library;
   const char *const log = Log_GetFilePath();
   return {library.Enabled(),
           ReadPolicy(),
           library.Option(),
           library.Preferred(MMDR_DEV_VIDEO),
           library.Preferred(MMDR_DEV_AUDIO),
           osal::Platform::devices().name(),
           ConfigSettings::Location(),
           log != nullptr ? std::optional<std::string>(log) : std::nullopt};
}

Json PolicyJson(const Policy &policy) {
   Json json = {{"disabled", DisabledText(policy.disabled)}};
   for (const auto &[name, value] : policy.numbers) {
      json[name] = value;
   }
   return json;
}

std::string PolicyText(const Policy &policy) {
   std::string text =
      policy.disabled == 0 ? "disables nothing" : std::string("disables ") + DisabledText(policy.disabled);
   for (const auto &[name, value] : policy.numbers) {
      text += ", " + name + " " + std::to_string(value);
   }
   return text;
}

std::string DeviceText(const std::optional<Device> &device) {
   return device ? Printable(device->name) + "  " + Printable(device->userId) : "none selected";
}

void Print(const Status &status) {
   PrintColumns({
      {"enabled", status.enabled ? "yes" : "no"},
      {"policy", PolicyText(status.policy)},
      {"microphones", OptionName(status.option).value_or(std::to_string(status.option) + " (unknown)")},
      {"camera", DeviceText(status.camera)},
      {"microphone", DeviceText(status.microphone)},
      {"platform", status.platform},
      {"settings", Printable(status.settings)},
      {"log", status.log ? Printable(*status.log) : "no file; 'mavr doctor' finds out why"},
   });
}

int Run(bool json) {
   const Status status = Gather();
   if (!json) {
      Print(status);
      return 0;
   }
   PrintJson({{"enabled", status.enabled},
              {"policy", PolicyJson(status.policy)},
              {"option", OptionJson(status.option)},
              {"preferred", {{"camera", ToJson(status.camera)}, {"microphone", ToJson(status.microphone)}}},
              {"platform", status.platform},
              {"settings", status.settings},
              {"log", status.log ? Json(*status.log) : Json(nullptr)}});
   return 0;
}

} // namespace

void AddStatusCommand(const Command &app) {
   const Command command =
      app.AddCommand("status", "Show what is enabled, limited and preferred, and where settings and log are");
   const auto json = std::make_shared<bool>(false);
   command.AddFlag("--json", json.get(), "Print JSON");
   command.Runs([=] { return Run(*json); });
}

} // namespace mavr
