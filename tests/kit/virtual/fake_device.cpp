#include "tests/kit/virtual/fake_device.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <sstream>
#include <utility>

namespace {

void Say(const std::string &line) {
   std::printf("%s\n", line.c_str());
   std::fflush(stdout);
}

} // namespace

std::vector<std::string> SplitList(const std::string &text) {
   std::vector<std::string> parts;
   std::istringstream in(text);
   for (std::string part; std::getline(in, part, ',');) {
      parts.push_back(part);
   }
   return parts;
}

FakeDevice::FakeDevice(std::string mediaClass, std::string mediaRole)
    : mProperties{{PW_KEY_MEDIA_CLASS, std::move(mediaClass)}, {PW_KEY_MEDIA_ROLE, std::move(mediaRole)}} {}

bool FakeDevice::IsStreaming() const {
   return mStream != nullptr && pw_stream_get_state(mStream, nullptr) == PW_STREAM_STATE_STREAMING;
}

int FakeDevice::Run(int argc, char **argv) {
   if (!ReadOptions(argc, argv)) {
      return 2;
   }
   pw_init(nullptr, nullptr);
   bool isFine = Start();
   if (isFine && mStartsPlugged) {
      mAnswerOncePlugged = "ok plug";
      isFine = Plug();
   } else if (isFine) {
      AnswerAfterSync("ok unplugged");
   }
   while (isFine && mIsRunning) {
      const int result = pw_loop_iterate(mLoop, -1);
      isFine = result >= 0 || result == -EINTR;
   }
   Stop();
   pw_deinit();
   return isFine ? 0 : 1;
}

bool FakeDevice::ReadOptions(int argc, char **argv) {
   for (int i = 1; i < argc; ++i) {
      const std::string option = argv[i];
      if (option == "--unplugged") {
         mStartsPlugged = false;
         continue;
      }
      const std::string value = i + 1 < argc ? argv[++i] : "";
      if (option == "--name") {
         mProperties[PW_KEY_NODE_NAME] = value;
      } else if (option == "--description") {
         mProperties[PW_KEY_NODE_DESCRIPTION] = value;
      } else if (option == "--property" && value.find('=') != std::string::npos) {
         mProperties[value.substr(0, value.find('='))] = value.substr(value.find('=') + 1);
      } else if (!TakeOption(option, value)) {
         std::fprintf(stderr, "%s: bad option %s %s\n", argv[0], option.c_str(), value.c_str());
         return false;
      }
   }
   return true;
}

bool FakeDevice::Start() {
   static constexpr pw_core_events coreEvents = [] {
      pw_core_events events{};
      events.version = PW_VERSION_CORE_EVENTS;
      events.done = &FakeDevice::OnDone;
      events.error = &FakeDevice::OnError;
      return events;
   }();
   mLoop = pw_loop_new(nullptr);
   if (mLoop == nullptr) {
      std::perror("pw_loop_new");
      return false;
   }
   pw_loop_enter(mLoop);
   pw_loop_add_signal(mLoop, SIGTERM, &FakeDevice::OnSignal, this);
   mContext = pw_context_new(mLoop, nullptr, 0);
   mCore = mContext != nullptr ? pw_context_connect(mContext, nullptr, 0) : nullptr;
   if (mCore == nullptr) {
      std::perror("connect");
      return false;
   }
   pw_core_add_listener(mCore, &mCoreHook, &coreEvents, this);
   mInputSource = pw_loop_add_io(mLoop, STDIN_FILENO, SPA_IO_IN | SPA_IO_HUP, false, &FakeDevice::OnInput, this);
   return mInputSource != nullptr;
}

void FakeDevice::Stop() {
   Unplug();
   if (mCore != nullptr) {
      spa_hook_remove(&mCoreHook);
      pw_core_disconnect(mCore);
   }
   if (mContext != nullptr) {
      pw_context_destroy(mContext);
   }
   if (mLoop != nullptr) {
      if (mInputSource != nullptr) {
         pw_loop_destroy_source(mLoop, mInputSource);
      }
      pw_loop_leave(mLoop);
      pw_loop_destroy(mLoop);
   }
}

bool FakeDevice::Plug() {
   static constexpr pw_stream_events streamEvents = [] {
      pw_stream_events events{};
      events.version = PW_VERSION_STREAM_EVENTS;
      events.state_changed = &FakeDevice::OnState;
      events.param_changed = &FakeDevice::OnParam;
      events.process = &FakeDevice::OnProcess;
      return events;
   }();
   pw_properties *const properties = pw_properties_new(nullptr, nullptr);
   for (const auto &[key, value] : mProperties) {
      if (!value.empty()) {
         pw_properties_set(properties, key.c_str(), value.c_str());
      }
   }
   mStream = pw_stream_new(mCore, "virtual device", properties);
   if (mStream == nullptr) {
      std::perror("pw_stream_new");
      return false;
   }
   pw_stream_add_listener(mStream, &mStreamHook, &streamEvents, this);
   return Connect(mStream);
}

void FakeDevice::Unplug() {
   if (mStream == nullptr) {
      return;
   }
   StateChanged(false);
   spa_hook_remove(&mStreamHook);
   pw_stream_destroy(mStream);
   mStream = nullptr;
   FormatChanged(nullptr);
}

void FakeDevice::AnswerAfterSync(std::string answer) {
   const int sequence = pw_core_sync(mCore, PW_ID_CORE, 0);
   mAnswers[sequence] = std::move(answer);
}

void FakeDevice::RunCommand(const std::string &line) {
   std::istringstream in(line);
   std::string verb;
   std::string argument;
   in >> verb >> std::ws;
   std::getline(in, argument);
   if (verb == "plug" && mStream == nullptr) {
      mAnswerOncePlugged = "ok " + line;
      if (!Plug()) {
         Quit();
      }
      return;
   }
   AnswerAfterSync((Dispatch(verb, argument) ? "ok " : "error ") + line);
}

bool FakeDevice::Dispatch(const std::string &verb, const std::string &argument) {
   if (verb == "quit") {
      Quit();
      return true;
   }
   if (verb == "plug") {
      return true; // it is plugged in already
   }
   if (verb == "unplug") {
      Unplug();
      return true;
   }
   if (verb == "set") {
      const size_t blank = argument.find(' ');
      mProperties[argument.substr(0, blank)] = blank == std::string::npos ? "" : argument.substr(blank + 1);
      return true;
   }
   return TakeCommand(verb, argument);
}

void FakeDevice::OnState(void *data, pw_stream_state, pw_stream_state state, const char *error) {
   auto *const self = static_cast<FakeDevice *>(data);
   Say(std::string("state ") + pw_stream_state_as_string(state) + (error != nullptr ? std::string(" ") + error : ""));
   self->StateChanged(state == PW_STREAM_STATE_STREAMING);
   if (state >= PW_STREAM_STATE_PAUSED && !self->mAnswerOncePlugged.empty()) {
      self->AnswerAfterSync(std::exchange(self->mAnswerOncePlugged, ""));
   }
}

void FakeDevice::OnParam(void *data, uint32_t id, const spa_pod *param) {
   if (id == SPA_PARAM_Format) {
      static_cast<FakeDevice *>(data)->FormatChanged(param);
   }
}

void FakeDevice::OnProcess(void *data) {
   static_cast<FakeDevice *>(data)->Process();
}

void FakeDevice::OnDone(void *data, uint32_t id, int sequence) {
   auto *const self = static_cast<FakeDevice *>(data);
   if (auto answer = self->mAnswers.find(sequence); id == PW_ID_CORE && answer != self->mAnswers.end()) {
      Say(answer->second);
      self->mAnswers.erase(answer);
   }
}

void FakeDevice::OnError(void *data, uint32_t id, int, int result, const char *message) {
   std::fprintf(stderr, "error of object %u: %d %s\n", id, result, message);
   if (id == PW_ID_CORE && result == -EPIPE) {
      static_cast<FakeDevice *>(data)->Quit();
   }
}

void FakeDevice::OnInput(void *data, int fd, uint32_t) {
   auto *const self = static_cast<FakeDevice *>(data);
   char bytes[512];
   const ssize_t count = read(fd, bytes, sizeof(bytes));
   if (count <= 0) {
      // The test that wanted this device is gone.
      self->Quit();
      return;
   }
   self->mInput.append(bytes, static_cast<size_t>(count));
   for (size_t end = 0; (end = self->mInput.find('\n')) != std::string::npos;) {
      const std::string line = self->mInput.substr(0, end);
      self->mInput.erase(0, end + 1);
      self->RunCommand(line);
   }
}

void FakeDevice::OnSignal(void *data, int) {
   static_cast<FakeDevice *>(data)->Quit();
}
