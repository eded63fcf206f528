#include "tools/mavr/Commands.h"
#include "tools/mavr/Library.h"
#include "tools/mavr/Output.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>

namespace mavr {
namespace {

Json ToJson(const std::vector<Device> &devices) {
   Json list = Json::array();
   for (const Device &device : devices) {
      list.push_back(mavr::ToJson(device));
   }
   return list;
}

void Print(const char *title, const std::vector<Device> &devices) {
   std::printf("%s\n", title);
   if (devices.empty()) {
      std::printf("  none; 'mavr doctor' finds out why\n");
      return;
   }
   std::vector<std::vector<std::string>> rows;
   rows.reserve(devices.size());
   for (const Device &device : devices) {
      rows.push_back({Printable(device.name), Printable(device.userId)});
   }
   PrintColumns(rows);
}

int Run(bool json) {
   Library library;
   const auto cameras = library.Devices(MMDR_DEV_VIDEO);
   const auto microphones = library.Devices(MMDR_DEV_AUDIO);
   if (json) {
      PrintJson({{"cameras", ToJson(cameras)}, {"microphones", ToJson(microphones)}});
      return 0;
   }
   Print("Cameras", cameras);
   Print("Microphones", microphones);
   return 0;
}

} // namespace

void AddDevicesCommand(const Command &app) {
   const Command command = app.AddCommand("devices", "List the cameras and microphones: name and user id");
   const auto json = std::make_shared<bool>(false);
   command.AddFlag("--json", json.get(), "Print JSON");
   command.Runs([=] { return Run(*json); });
}

} // namespace mavr
