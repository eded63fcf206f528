#include "tools/mavr/Commands.h"
#include "tools/mavr/Library.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/ToolError.h"

#include "libs/avManager/devices/VideoInputDevices.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>

namespace mavr {
namespace {

// The camera that `wanted` names: a whole user id, a display name, or a piece of a user id, tried in this order.
const WebcamDeviceInfo &Find(const CamDevInfoMap &cameras, const std::string &wanted) {
   using Test = bool (*)(const WebcamDeviceInfo &, const std::string &);
   static constexpr Test kTests[] = {
      [](const WebcamDeviceInfo &camera, const std::string &text) { return camera.userId == text; },
      [](const WebcamDeviceInfo &camera, const std::string &text) { return camera.name == text; },
      [](const WebcamDeviceInfo &camera, const std::string &text) {
         return camera.userId.find(text) != std::string::npos;
      },
   };
   for (const Test test : kTests) {
      for (const auto &[guid, camera] : cameras) {
         if (test(camera, wanted)) {
            return camera;
         }
      }
   }
   throw ToolError("No camera matches '" + wanted + "'.", cameras.empty()
                                                             ? "No camera is present; 'mavr doctor' finds out why."
                                                             : "'mavr devices' lists those present.");
}

int Run(const std::string &wanted, bool json) {
   const Library library;
   CamDevInfoMap cameras;
   VideoInputDevices::Map(cameras);
   const WebcamDeviceInfo &camera = Find(cameras, wanted);
   if (json) {
      Json sizes = Json::array();
      for (const auto &[width, height] : camera.resolutions) {
         sizes.push_back({{"width", width}, {"height", height}});
      }
      PrintJson({{"camera", ToJson(Device{camera.userId, camera.name})}, {"sizes", sizes}});
      return 0;
   }
   std::printf("%s (%s)\n", Printable(camera.name).c_str(), Printable(camera.userId).c_str());
   for (const auto &[width, height] : camera.resolutions) {
      std::printf("  %ux%u\n", width, height);
   }
   if (camera.resolutions.empty()) {
      std::printf("  the camera names no sizes\n");
   }
   return 0;
}

} // namespace

void AddFormatsCommand(const Command &app) {
   const Command command = app.AddCommand("formats", "List the sizes that a camera can deliver");
   const auto wanted = std::make_shared<std::string>();
   const auto json = std::make_shared<bool>(false);
   command.AddText("CAMERA", wanted.get(), "User id, a piece of one, or display name").Required();
   command.AddFlag("--json", json.get(), "Print JSON");
   command.Runs([=] { return Run(*wanted, *json); });
}

} // namespace mavr
