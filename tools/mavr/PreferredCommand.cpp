#include "tools/mavr/Commands.h"
#include "tools/mavr/Library.h"
#include "tools/mavr/Output.h"

#include <nlohmann/json.hpp>

#include <memory>

namespace mavr {
namespace {

std::vector<std::string> Row(const char *kind, const std::optional<Device> &device) {
   if (!device) {
      return {kind, "none selected"};
   }
   return {kind, Printable(device->name), Printable(device->userId)};
}

int Run(bool json) {
   Library library;
   const auto camera = library.Preferred(MMDR_DEV_VIDEO);
   const auto microphone = library.Preferred(MMDR_DEV_AUDIO);
   if (json) {
      PrintJson({{"camera", ToJson(camera)}, {"microphone", ToJson(microphone)}});
      return 0;
   }
   PrintColumns({Row("camera", camera), Row("microphone", microphone)});
   return 0;
}

} // namespace

void AddPreferredCommand(const Command &app) {
   const Command command = app.AddCommand("preferred", "Show the device that each stored preference selects now");
   const auto json = std::make_shared<bool>(false);
   command.AddFlag("--json", json.get(), "Print JSON");
   command.Runs([=] { return Run(*json); });
}

} // namespace mavr
