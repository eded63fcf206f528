#include "tests/kit/PrivatePipewire.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <thread>

namespace kit {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kPatience{20};

/// Read behind the installed files, by name order. Without it and without a message bus the session manager ends at
/// once.
constexpr const char *kNoHardware = R"(alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
default_access.properties["enable-flatpak-portal"] = false
)";
constexpr const char *kNoBluetooth = "bluez_monitor.enabled = false\n";

bool Await(const std::function<bool()> &condition) {
   const auto deadline = Clock::now() + kPatience;
   while (!condition()) {
      if (Clock::now() >= deadline) {
         return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
   }
   return true;
}

ScopedEnvironment::Variables PrivateVariables(const TempDir &folder) {
   return {{"XDG_RUNTIME_DIR", folder.Path()},
           {"XDG_CONFIG_HOME", folder / "config"},
           {"XDG_STATE_HOME", folder / "state"},
           {"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
           {"PIPEWIRE_REMOTE", std::nullopt},
           {"PIPEWIRE_RUNTIME_DIR", std::nullopt},
           {"DISPLAY", std::nullopt}};
}

std::vector<std::string> ThisEnvironment() {
   std::vector<std::string> variables;
   for (char **variable = environ; *variable != nullptr; ++variable) {
      variables.emplace_back(*variable);
   }
   return variables;
}

void Set(const std::string &name, const std::optional<std::string> &value) {
   value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
}

} // namespace

ScopedEnvironment::ScopedEnvironment(const Variables &variables) {
   for (const auto &[name, value] : variables) {
      const char *const former = std::getenv(name.c_str());
      mFormer.emplace_back(name, former != nullptr ? std::optional<std::string>(former) : std::nullopt);
      Set(name, value);
   }
}

ScopedEnvironment::~ScopedEnvironment() {
   for (auto former = mFormer.rbegin(); former != mFormer.rend(); ++former) {
      Set(former->first, former->second);
   }
}

std::string PrivatePipewire::Missing() {
   std::string missing;
   for (const char *const program : {"pipewire", "wireplumber", "pw-metadata"}) {
      if (!HasProgram(program)) {
         missing += (missing.empty() ? "" : ", ") + std::string(program);
      }
   }
   return missing.empty() ? "" : "not installed: " + missing;
}

PrivatePipewire::PrivatePipewire(SessionManager sessionManager)
    : mInForce(PrivateVariables(mFolder))
    , mEnvironment(ThisEnvironment()) {
   WriteConfiguration();
   mDaemon.emplace(std::vector<std::string>{"pipewire"}, mEnvironment, LogPath("pipewire"));
   AwaitSocket();
   if (sessionManager == SessionManager::Yes) {
      mSessionManager.emplace(std::vector<std::string>{"wireplumber"}, mEnvironment, LogPath("wireplumber"));
      AwaitSessionManager();
   }
}

PrivatePipewire::~PrivatePipewire() {
   if (mSessionManager) {
      mSessionManager->End();
   }
   mDaemon->End();
}

void PrivatePipewire::WriteConfiguration() {
   const std::filesystem::path wireplumber = mFolder / "config/wireplumber";
   std::filesystem::create_directories(wireplumber / "main.lua.d");
   std::filesystem::create_directories(wireplumber / "bluetooth.lua.d");
   std::filesystem::create_directories(mFolder / "state");
   WriteFile(wireplumber / "main.lua.d/51-headless.lua", kNoHardware);
   WriteFile(wireplumber / "bluetooth.lua.d/51-headless.lua", kNoBluetooth);
}

void PrivatePipewire::AwaitSocket() {
   const bool isThere = Await([this] {
      struct stat facts {};
      return !mDaemon->IsRunning() || stat(SocketPath().c_str(), &facts) == 0;
   });
   if (!isThere || !mDaemon->IsRunning()) {
      throw std::runtime_error("the private PipeWire did not start: " + ReadFile(LogPath("pipewire")));
   }
}

void PrivatePipewire::AwaitSessionManager() {
   const bool isThere = Await([this] {
      Process look({"pw-metadata", "-n", "default"}, mEnvironment, LogPath("pw-metadata"));
      const std::optional<std::string> line = look.ReadLine(std::chrono::seconds(2));
      return !mSessionManager->IsRunning() || (line && line->starts_with("Found"));
   });
   if (!isThere || !mSessionManager->IsRunning()) {
      throw std::runtime_error("the private session manager did not start: " + ReadFile(LogPath("wireplumber")));
   }
}

void PrivatePipewire::Freeze() {
   mDaemon->Signal(SIGSTOP);
}

void PrivatePipewire::Thaw() {
   mDaemon->Signal(SIGCONT);
}

void PrivatePipewire::Kill() {
   mDaemon->Signal(SIGKILL);
   mDaemon->Wait(kPatience);
}

VirtualDevice::VirtualDevice(const PrivatePipewire &daemon, const std::string &program, const std::string &name,
                             std::vector<std::string> options)
    : mLog(daemon.LogPath(program + "-" + std::to_string(std::hash<std::string>{}(name))))
    , mProgram(
         [&] {
            std::vector<std::string> arguments{std::string(MAVR_VIRTUAL_DEVICES) + "/" + program, "--name", name};
            arguments.insert(arguments.end(), options.begin(), options.end());
            return arguments;
         }(),
         daemon.Environment(), mLog) {
   const bool startsUnplugged = std::find(options.begin(), options.end(), "--unplugged") != options.end();
   AwaitAnswer(startsUnplugged ? "unplugged" : "plug");
}

void VirtualDevice::Command(const std::string &command) {
   mProgram.SendLine(command);
   AwaitAnswer(command);
}

void VirtualDevice::AwaitAnswer(const std::string &command) {
   while (const std::optional<std::string> line = mProgram.ReadLine(kPatience)) {
      if (*line == "ok " + command) {
         return;
      }
      if (*line == "error " + command) {
         break;
      }
   }
   throw std::runtime_error("the virtual device did not do \"" + command + "\": " + ReadFile(mLog));
}

} // namespace kit
