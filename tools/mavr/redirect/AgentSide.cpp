// The receiving side of 'mavr redirect'.

#include "tools/mavr/redirect/BagMessage.h"
#include "tools/mavr/redirect/CpuClock.h"
#include "tools/mavr/redirect/Endpoint.h"
#include "tools/mavr/redirect/Lifeline.h"
#include "tools/mavr/redirect/Phase.h"
#include "tools/mavr/redirect/ReceivedMedia.h"
#include "tools/mavr/redirect/ReportPage.h"
#include "tools/mavr/redirect/SessionTalk.h"
#include "tools/mavr/redirect/Sides.h"

#include "tools/mavr/Library.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/Png.h"
#include "tools/mavr/ToolError.h"

#include "libs/pcoip_mfw/mfwSession.h"
#include "pcoip_host/local/LocalHost.h"

#include "osal/Clock.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace mavr::redirect {
namespace {

using std::chrono::milliseconds;

constexpr uint32_t kSendMs = 2000;
constexpr milliseconds kOpenPatience{20'000};
constexpr milliseconds kProgressStep{200};
constexpr milliseconds kEndPatience{5000}; // for the client's end, once this side is told to end
constexpr milliseconds kLeavePatience{2000};
constexpr uint64_t kDrainNs = 1'000'000'000; // for datagrams on their way after the end
constexpr milliseconds kDrainStep{5};

struct State {
   bool isOver = false; // the client has gone
   bool isToStop = false;
   std::optional<Describe> describe;
   bool isRefused = false; // what the client described
   std::optional<End> end;
};

// The whole file or an error: a report with half of its content would be worse than none.
void WriteWhole(const std::string &path, const std::string &content) {
   std::ofstream file(path, std::ios::binary | std::ios::trunc);
   file << content;
   file.close();
   if (!file) {
      throw ToolError("'" + path + "' cannot be written.", "Is the folder there, and is there room?");
   }
}

std::vector<uint8_t> ReadWhole(const std::string &path) {
   std::ifstream file(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string Now() {
   const std::time_t now = static_cast<std::time_t>(osal::Clock::current().wallTime().seconds);
   std::tm parts{};
   char text[64] = "";
   if (gmtime_r(&now, &parts) != nullptr) {
      std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts);
   }
   return text;
}

class Agent {
public:
   explicit Agent(const SideOptions &options)
       : mOptions(options)
       , mHost(MakeHost(options))
       , mControl(kControlChannel, kControlPriority,
                  {[this](bool isOpen) { NoteState(isOpen); },
                   [this](const uint8_t *data, uint32_t size) {
                      TakeMessage(data, size);
                   }})
       , mVideo(kVideoChannel, kVideoPriority, Into(&mVideoStream))
       , mAudio(kAudioChannel, kAudioPriority, Into(&mAudioStream))
       , mLifeline([this] { mPhase.Set([](State &state) { state.isToStop = true; }); }) {}
   ~Agent() { mfw::Exit(); }
   Agent(const Agent &) = delete;
   Agent &operator=(const Agent &) = delete;

   int Run() {
      Connect();
      const bool isDescribed = mPhase.Await(kOpenPatience, [](const State &state) {
         return state.describe || state.isRefused || state.isOver || state.isToStop;
      });
      if (!isDescribed || !mPhase.Get().describe) {
         return kOtherSideEnded; // which has said why
      }
      Receive();
      const bool isWhole = Drain();
      WriteReport();
      Tell("done");
      mPhase.Await(kLeavePatience, [](const State &state) { return state.isOver; });
      return isWhole ? 0 : kOtherSideEnded;
   }

private:
   static std::unique_ptr<pcoip_host::LocalHost> MakeHost(const SideOptions &options) {
      pcoip_host::LocalHostOptions host;
      host.role = pcoip_host::LocalRendezvous::Role::kLeading;
      host.largestDatagram = kLargestDatagram;
      host.largestLossyDatagram = kLargestDatagram;
      auto made = pcoip_host::LocalHost::Create(pcoip_host::Descriptor(options.socket), host);
      if (made == nullptr) {
         throw ToolError("There is no session on descriptor " + std::to_string(options.socket) + ".",
                         "This command is started by 'mavr redirect'.");
      }
      return made;
   }

   void NoteState(bool isOpen) {
      mPhase.Set([&](State &state) { state.isOver = state.isOver || !isOpen; });
   }

   // Datagrams of a media channel. They come only after "ready", when the stream is there.
   Endpoint::Events Into(std::atomic<ReceivedStream *> *stream) {
      return {[this](bool isOpen) { NoteState(isOpen); },
              [stream](const uint8_t *data, uint32_t size) {
                 if (ReceivedStream *const there = stream->load()) {
                    there->Take(data, size);
                 }
              }};
   }

   void TakeMessage(const uint8_t *data, uint32_t size) {
      CORE::PropertyBag bag;
      if (!UnpackBag(data, size, bag)) {
         return;
      }
      const std::string message = MessageOf(bag);
      mPhase.Set([&](State &state) {
         if (message == "describe" && !state.describe) {
            state.describe = DescribeOf(bag);
            state.isRefused = !state.describe;
         } else if (message == "end") {
            state.end = EndOf(bag);
         }
      });
   }

   void Tell(const char *message) {
      CORE::PropertyBag bag;
      SetMessage(bag, message);
      const std::vector<uint8_t> bytes = PackBag(bag);
      static_cast<void>(mControl.Send(bytes.data(), static_cast<uint32_t>(bytes.size())));
   }

   // This side opens the channels as soon as there is a session.
   void Connect() {
      mfwServer = true;
      uint64_t context = 0;
      const bool isStarted = mControl.Start(false, kSendMs) && mVideo.Start(!mOptions.isVideoReliable, kSendMs) &&
                             mAudio.Start(false, kSendMs) && mfw::Init(&mHost->table(), &context) && mHost->connect();
      if (!isStarted) {
         throw ToolError("The receiving side could not be set up.", "The log has the details.");
      }
   }

   void Receive() {
      const Describe describe = *mPhase.Get().describe;
      if (describe.video) {
         mVideoMedia.emplace(*describe.video, describe.seconds);
         mVideoStream = &mVideoMedia->Received();
      }
      if (describe.audio) {
         mAudioMedia.emplace(*describe.audio, mOptions.out + "/sound.wav");
         mAudioStream = &mAudioMedia->Received();
      }
      mCpu = CpuClock();
      Tell("ready");
      const auto isOver = [](const State &state) {
         return state.end || state.isOver;
      };
      while (!mPhase.Await(kProgressStep, isOver) && !mPhase.Get().isToStop) {
         PrintProgress();
      }
      mPhase.Await(mPhase.Get().isToStop ? kEndPatience : milliseconds(0), isOver);
   }

   void PrintProgress() {
      const auto counts = [](ReceivedStream *stream) {
         return stream != nullptr ? stream->Counts() : StreamCounts{};
      };
      const StreamCounts video = counts(mVideoStream);
      const StreamCounts audio = counts(mAudioStream);
      const Json line = {{"seconds", mCpu.Wall()},
                         {"frames", video.framesComplete},
                         {"framesLost", video.framesLost},
                         {"chunks", audio.framesComplete},
                         {"chunksLost", audio.framesLost}};
      std::printf("%s\n", line.dump().c_str());
      std::fflush(stdout);
   }

   // Waits for what is still on its way. False when the client ended before its time.
   bool Drain() {
      const std::optional<End> end = mPhase.Get().end;
      mUsed = mCpu.Used();
      mWall = mCpu.Wall();
      const uint64_t until = osal::Clock::current().monotonicNs() + kDrainNs;
      const auto finish = [&](ReceivedStream *stream, const std::optional<SentStream> *sent) {
         if (stream == nullptr) {
            return;
         }
         if (sent == nullptr || !*sent) {
            stream->Finish(0, 0);
            return;
         }
         const uint64_t coming = (*sent)->sent.datagrams - (*sent)->sent.datagramsRefused - (*sent)->datagramsLost;
         while (!stream->HasCome(coming) && osal::Clock::current().monotonicNs() < until) {
            std::this_thread::sleep_for(kDrainStep);
         }
         stream->Finish((*sent)->sent.datagrams, (*sent)->sent.frames);
      };
      finish(mVideoStream, end ? &end->video : nullptr);
      finish(mAudioStream, end ? &end->audio : nullptr);
      return end.has_value();
   }

   void WriteReport() {
      SessionResult result;
      result.seconds = mOptions.seconds;
      result.lossPercent = mOptions.lossPercent;
      result.end = mPhase.Get().end;
      result.agentCpuSeconds = mUsed;
      result.agentWallSeconds = mWall;
      std::vector<uint8_t> pictures;
      if (mVideoMedia) {
         result.video = mVideoMedia->Result();
         const ContactSheet::Sheet sheet = mVideoMedia->Pictures().Compose();
         const std::string path = mOptions.out + "/pictures.png";
         WritePng(path, sheet.i420.data(), sheet.width, sheet.height);
         pictures = ReadWhole(path);
      }
      if (mAudioMedia) {
         result.audio = mAudioMedia->Result();
      }
      WriteWhole(mOptions.out + "/report.html", ReportPage(result, pictures, Now()));
      WriteWhole(mOptions.out + "/report.json",
                 ToJson(result).dump(3, ' ', false, Json::error_handler_t::replace) + "\n");
   }

   const SideOptions mOptions;
   Library mLibrary; // its log
   Phase<State> mPhase;
   CpuClock mCpu;
   double mUsed = 0;
   double mWall = 0;
   std::optional<ReceivedVideo> mVideoMedia;
   std::optional<ReceivedAudio> mAudioMedia;
   std::atomic<ReceivedStream *> mVideoStream{nullptr};
   std::atomic<ReceivedStream *> mAudioStream{nullptr};
   const std::unique_ptr<pcoip_host::LocalHost> mHost;
   Endpoint mControl;
   Endpoint mVideo;
   Endpoint mAudio;
   const Lifeline mLifeline;
};

} // namespace

int RunAgent(const SideOptions &options) {
   Agent agent(options);
   return agent.Run();
}

} // namespace mavr::redirect
