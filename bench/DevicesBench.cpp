// Listing devices: PipeWire with ten cameras in a private daemon, and simulated ones from a file of twenty-five cameras
// and as many microphones.
#include "bench/Harness.h"

#include "osal/Devices.h"
#include "osal/simulated/SimulatedDevices.h"
#include "tests/kit/TempDir.h"

#include <nlohmann/json.hpp>

#if defined(MAVR_BENCH_PIPEWIRE)
#include "osal/pipewire/PipewireDevices.h"
#include "tests/kit/PrivatePipewire.h"

#include <pipewire/pipewire.h>
#endif

#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

/// Ends the program when a listing does not give what it should: a wrong one may be as fast as it likes.
void Expect(bool isTrue, const char *what) {
   if (!isTrue) {
      std::fprintf(stderr, "bench_devices: %s\n", what);
      std::exit(1);
   }
}

void ListCameras(osal::Devices &devices, size_t wanted) {
   constexpr osal::DeviceType kTypes[] = {osal::DeviceType::BuiltInWideAngleCamera, osal::DeviceType::ExternalUnknown};
   osal::CaptureDeviceList cameras;
   const osal::Status status =
      devices.discoverySession(kTypes, osal::MediaType::Video, osal::DevicePosition::Unspecified, &cameras);
   Expect(status.ok() && cameras.size() == wanted, "not all cameras are listed");
}

void ListMicrophones(osal::Devices &devices, size_t wanted) {
   std::unique_ptr<osal::AudioHardware> hardware;
   const osal::Status status = devices.audioHardware(&hardware);
   uint32_t size = 0;
   Expect(status.ok() &&
             hardware->getPropertyDataSize(
                osal::kAudioObjectSystemObject,
                {osal::kAudioHardwarePropertyDevices, osal::kAudioObjectPropertyScopeGlobal, 0}, &size) == 0 &&
             size == wanted * sizeof(osal::AudioObjectID),
          "not all microphones are listed");
}

bench::Work Times(std::function<void()> once) {
   return [once = std::move(once)](uint64_t times) {
      for (; times > 0; --times) {
         once();
      }
   };
}

void MeasureSimulated(bench::Report *report) {
   constexpr size_t kCameras = 25;
   constexpr size_t kMicrophones = 25;
   nlohmann::json scene = {{"cameras", nlohmann::json::array()}, {"microphones", nlohmann::json::array()}};
   for (size_t i = 0; i < kCameras; ++i) {
      const std::string number = std::to_string(i);
      scene["cameras"].push_back(
         {{"name", "Camera " + number},
          {"uniqueId", "sim-cam-" + number},
          {"formats", {{{"width", 1280}, {"height", 720}}, {{"width", 640}, {"height", 480}}}}});
      scene["microphones"].push_back({{"name", "Microphone " + number}, {"uniqueId", "sim-mic-" + number}});
   }
   const kit::TempDir folder;
   const std::string file = folder / "scene.json";
   kit::WriteFile(file, scene.dump());
   // A file written a moment ago is read again each time, since its time stamp could hide a second change.
   std::filesystem::last_write_time(file, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
   const std::unique_ptr<osal::Devices> devices = osal::MakeSimulatedDevices(file);
   report->Run({.name = "devices.simulated",
                .unit = "us",
                .ours = bench::MicrosecondsEach(Times([&] {
                   ListCameras(*devices, kCameras);
                   ListMicrophones(*devices, kMicrophones);
                })),
                // Each of the two looks whether the file has changed.
                .limit = bench::Case{"stat(2) of the file, twice", bench::MicrosecondsEach(Times([&] {
                                        struct stat facts {};
                                        Expect(stat(file.c_str(), &facts) == 0, "the simulation file is gone");
                                        Expect(stat(file.c_str(), &facts) == 0, "the simulation file is gone");
                                     }))}});
}

#if defined(MAVR_BENCH_PIPEWIRE)

/// The least that any program pays to learn something from the daemon: connect, one roundtrip, disconnect.
void BareRoundtrip() {
   struct Wait {
      int sequence = 0;
      bool isDone = false;
   } wait;
   pw_core_events events{};
   events.version = PW_VERSION_CORE_EVENTS;
   events.done = [](void *data, uint32_t id, int sequence) {
      auto *const waiting = static_cast<Wait *>(data);
      waiting->isDone = waiting->isDone || (id == PW_ID_CORE && sequence == waiting->sequence);
   };
   pw_loop *const loop = pw_loop_new(nullptr);
   pw_context *const context = pw_context_new(loop, nullptr, 0);
   pw_core *const core = pw_context_connect(context, nullptr, 0);
   Expect(core != nullptr, "no connection to the private daemon");
   spa_hook hook{};
   pw_core_add_listener(core, &hook, &events, &wait);
   pw_loop_enter(loop);
   wait.sequence = pw_core_sync(core, PW_ID_CORE, 0);
   while (!wait.isDone) {
      pw_loop_iterate(loop, -1);
   }
   spa_hook_remove(&hook);
   pw_core_disconnect(core);
   pw_context_destroy(context);
   pw_loop_leave(loop);
   pw_loop_destroy(loop);
}

void MeasurePipewire(bench::Report *report) {
   constexpr size_t kCameras = 10;
   if (!report->Wants("devices.pipewire")) {
      return;
   }
   if (const std::string missing = kit::PrivatePipewire::Missing(); !missing.empty()) {
      report->CannotRun("devices.pipewire", missing);
      return;
   }
   pw_init(nullptr, nullptr);
   const kit::PrivatePipewire daemon;
   std::vector<std::unique_ptr<kit::VirtualCamera>> cameras;
   for (size_t i = 0; i < kCameras; ++i) {
      cameras.push_back(std::make_unique<kit::VirtualCamera>(
         daemon, "cam-" + std::to_string(i),
         std::vector<std::string>{"--formats", "NV12,YUY2,MJPG", "--sizes", "1920x1080,1280x720,640x480,320x240"}));
   }
   const std::unique_ptr<osal::Devices> devices = osal::MakePipewireDevices();
   report->Run(
      {.name = "devices.pipewire",
       .unit = "ms",
       .ours = bench::MillisecondsEach(Times([&] { ListCameras(*devices, kCameras); })),
       .peers = {{"bare connection, one roundtrip", bench::MillisecondsEach(Times([] { BareRoundtrip(); }))}}});
}

#endif

} // namespace

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
#if defined(MAVR_BENCH_PIPEWIRE)
   MeasurePipewire(&report);
#endif
   MeasureSimulated(&report);
   return report.Finish();
}
