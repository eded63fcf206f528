#pragma once

#include "tests/kit/Process.h"
#include "tests/kit/TempDir.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kit {

/// Sets environment variables of this process for its lifetime; none as a value removes one. Nests. Before other
/// threads read the environment.
class ScopedEnvironment {
public:
   using Variables = std::vector<std::pair<std::string, std::optional<std::string>>>;
   explicit ScopedEnvironment(const Variables &variables);
   ScopedEnvironment(std::string name, std::optional<std::string> value)
       : ScopedEnvironment(Variables{{std::move(name), std::move(value)}}) {}
   ~ScopedEnvironment();
   ScopedEnvironment(const ScopedEnvironment &) = delete;
   ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;

private:
   Variables mFormer;
};

/// A PipeWire daemon and session manager of the test's own: no hardware, no message bus, no login session, any user.
///
/// Everything it writes is in a folder of its own, so any number of them run side by side. While it lives this
/// process's environment leads to it. Check Missing first: without the programs the constructor throws. Owner: the
/// test. Threads: one. Life cycle: ready when the constructor returns (std::runtime_error with the logs if it does not
/// get ready within 20 s); ended and removed by the destructor.
class PrivatePipewire {
public:
   enum class SessionManager { Yes, No };

   explicit PrivatePipewire(SessionManager sessionManager = SessionManager::Yes);
   ~PrivatePipewire();

   /// What is not installed of what the private daemon needs; empty when all is there. For GTEST_SKIP.
   [[nodiscard]] static std::string Missing();

   /// The daemon stops answering (SIGSTOP), and goes on.
   void Freeze();
   void Thaw();
   /// The daemon dies at once; the session manager and the virtual devices follow by themselves.
   void Kill();

   [[nodiscard]] const std::string &Folder() const { return mFolder.Path(); }
   [[nodiscard]] std::string SocketPath() const { return mFolder / "pipewire-0"; }
   /// For programs that are to see this daemon.
   [[nodiscard]] const std::vector<std::string> &Environment() const { return mEnvironment; }
   [[nodiscard]] std::string LogPath(const std::string &program) const { return mFolder / (program + ".log"); }

private:
   void WriteConfiguration();
   void AwaitSocket();
   void AwaitSessionManager();

   const TempDir mFolder;
   const ScopedEnvironment mInForce;
   const std::vector<std::string> mEnvironment;
   std::optional<Process> mDaemon;
   std::optional<Process> mSessionManager;
};

/// A virtual camera or microphone in a private daemon; its options and commands are those of the program behind it
/// (tests/kit/virtual/). Owner: the test; ends before its daemon. Threads: one.
class VirtualDevice {
public:
   ~VirtualDevice() = default;

   /// Sends a command and waits for its answer. What the command does is then seen by every later listing. Throws
   /// std::runtime_error when the device refuses, or is gone.
   void Command(const std::string &command);
   void Unplug() { Command("unplug"); }
   void Plug() { Command("plug"); }
   /// What the device has said since its start: answers to commands, and "state streaming" whenever someone captures.
   [[nodiscard]] std::string Output() const { return ReadFile(mLog); }
   /// The program, for tests that end or stop it roughly.
   [[nodiscard]] Process &Program() { return mProgram; }

protected:
   VirtualDevice(const PrivatePipewire &daemon, const std::string &program, const std::string &name,
                 std::vector<std::string> options);

private:
   void AwaitAnswer(const std::string &command);

   const std::string mLog;
   Process mProgram;
};

/// VirtualCamera camera(daemon, "cam-1", {"--description", "Desk Camera", "--sizes", "640x480"});
class VirtualCamera : public VirtualDevice {
public:
   VirtualCamera(const PrivatePipewire &daemon, const std::string &name, std::vector<std::string> options = {})
       : VirtualDevice(daemon, "fake_camera", name, std::move(options)) {}
};

class VirtualMicrophone : public VirtualDevice {
public:
   VirtualMicrophone(const PrivatePipewire &daemon, const std::string &name, std::vector<std::string> options = {})
       : VirtualDevice(daemon, "fake_microphone", name, std::move(options)) {}
};

} // namespace kit
