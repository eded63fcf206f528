#pragma once

#include <pipewire/pipewire.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

/// What the virtual camera and the virtual microphone share: a program that puts one node into the PipeWire daemon of
/// its environment and takes commands, one a line, on standard input.
///
/// Each command is answered by one line on standard output, `ok COMMAND` or `error COMMAND`, once the daemon has
/// seen its effect: a listing made after the answer shows it. The first answer, `ok plug`, comes by itself when the
/// device is there. Other lines, which begin with `state `, tell about the stream. The program ends on `quit`, on end
/// of input, on SIGTERM, and when the daemon goes.
///
/// Commands of every device: `plug`, `unplug`, `set KEY VALUE` (a property of the node; without a value it is removed;
/// counts from the next plug on), `quit`.
///
/// Options of every device: `--name TEXT` (node.name), `--description TEXT`, `--property KEY=VALUE` (no value removes
/// the property), `--unplugged` (starts without the node; answers `ok unplugged` first).
///
/// Owner: main. Threads: all on the main thread but Process, which runs on the data thread. Locks: none. Life cycle:
/// constructed -> Run -> destroyed.
class FakeDevice {
public:
   FakeDevice(const FakeDevice &) = delete;
   FakeDevice &operator=(const FakeDevice &) = delete;

   /// Reads the options, plugs the device in and serves commands to the end. The program's exit status.
   int Run(int argc, char **argv);

protected:
   FakeDevice(std::string mediaClass, std::string mediaRole);
   virtual ~FakeDevice() = default;

   /// One option of this kind of device with its value; false for one that is unknown.
   virtual bool TakeOption(const std::string &option, const std::string &value) = 0;
   /// One command of this kind of device; false for one that is unknown or wrong.
   virtual bool TakeCommand(const std::string &verb, const std::string &argument) = 0;
   /// Connects the new stream with the formats that the device offers.
   virtual bool Connect(pw_stream *stream) = 0;

   virtual void StateChanged(bool /*isStreaming*/) {}
   virtual void FormatChanged(const spa_pod * /*format*/) {}
   /// On the data thread.
   virtual void Process() {}

   [[nodiscard]] pw_stream *Stream() const { return mStream; }
   [[nodiscard]] pw_loop *Loop() const { return mLoop; }
   [[nodiscard]] bool IsStreaming() const;

private:
   static void OnState(void *data, pw_stream_state, pw_stream_state state, const char *error);
   static void OnParam(void *data, uint32_t id, const spa_pod *param);
   static void OnProcess(void *data);
   static void OnDone(void *data, uint32_t id, int sequence);
   static void OnError(void *data, uint32_t id, int, int result, const char *message);
   static void OnInput(void *data, int fd, uint32_t mask);
   static void OnSignal(void *data, int signal);

   bool ReadOptions(int argc, char **argv);
   bool Start();
   void Stop();
   bool Plug();
   void Unplug();
   void RunCommand(const std::string &line);
   bool Dispatch(const std::string &verb, const std::string &argument);
   void Quit() { mIsRunning = false; }
   /// Says `answer` once the daemon has worked off everything sent so far.
   void AnswerAfterSync(std::string answer);

   std::map<std::string, std::string> mProperties;
   bool mStartsPlugged = true;

   pw_loop *mLoop = nullptr;
   pw_context *mContext = nullptr;
   pw_core *mCore = nullptr;
   pw_stream *mStream = nullptr;
   spa_hook mCoreHook{};
   spa_hook mStreamHook{};
   spa_source *mInputSource = nullptr;

   std::string mInput;                  ///< bytes of a line that is not complete yet
   std::map<int, std::string> mAnswers; ///< by sequence number of the sync they wait for
   std::string mAnswerOncePlugged;      ///< empty: none waits
   bool mIsRunning = true;
};

/// "a,b,c" -> {"a", "b", "c"}
[[nodiscard]] std::vector<std::string> SplitList(const std::string &text);
