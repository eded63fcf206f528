// The capturing side of 'mavr redirect'.

#include "tools/mavr/redirect/BagMessage.h"
#include "tools/mavr/redirect/CpuClock.h"
#include "tools/mavr/redirect/Endpoint.h"
#include "tools/mavr/redirect/Lifeline.h"
#include "tools/mavr/redirect/MediaSender.h"
#include "tools/mavr/redirect/Phase.h"
#include "tools/mavr/redirect/SessionTalk.h"
#include "tools/mavr/redirect/Sides.h"

#include "tools/mavr/Library.h"
#include "tools/mavr/ToolError.h"

#include "lib/mfw/common/linuxSupport.h"
#include "libs/avManager/AudioRec.h"
#include "libs/avManager/SyncMediaClock.h"
#include "libs/avManager/VideoRec.h"
#include "libs/avManager/devices/VideoInputDevices.h"
#include "libs/pcoip_mfw/mfwSession.h"
#include "libs/utils/DataBuffer.h"
#include "libs/utils/SampleMeta.h"
#include "pcoip_host/local/LocalHost.h"

#include "osal/Clock.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace mavr::redirect {
namespace {

using std::chrono::milliseconds;

constexpr uint32_t kWidth = 640;
constexpr uint32_t kHeight = 480;
constexpr uint32_t kFrameRate = 30;
constexpr uint32_t kSampleRate = 48000;
constexpr uint32_t kChunkMs = 20;
constexpr uint32_t kChunksQueued = 50;
constexpr uint32_t kLookMs = 100;
constexpr uint32_t kLossySendMs = 20;
constexpr uint32_t kReliableSendMs = 2000;
constexpr milliseconds kOpenPatience{10'000};
constexpr milliseconds kAnswerPatience{10'000};

struct State {
   bool isControlOpen = false;
   bool isVideoOpen = false;
   bool isAudioOpen = false;
   bool isReady = false; // the agent
   bool isDone = false;
   bool isOver = false; // the agent has gone
   bool isToStop = false;
};

uint64_t NowNs() {
   return osal::Clock::current().monotonicNs();
}

// A recorder's time as one of the monotonic clock. The recorder's is in whole milliseconds, rounded down.
class CaptureTime {
public:
   // The two are read at moments when the recorder's moves on. The later the second reading, the later would a capture
   // seem to be: the best of some is the earliest.
   CaptureTime() {
      for (int tries = 0; tries < 4; ++tries) {
         const uint32_t before = SyncMediaClock::GetTimeMS();
         uint32_t mediaMs = before;
         while (mediaMs == before) {
            mediaMs = SyncMediaClock::GetTimeMS();
         }
         mStartNs = std::min(mStartNs, NowNs() - mediaMs * kNsPerMs);
      }
   }
   [[nodiscard]] uint64_t Of(uint32_t mediaMs) const { return mStartNs + mediaMs * kNsPerMs; }

private:
   static constexpr uint64_t kNsPerMs = 1'000'000;

   uint64_t mStartNs = UINT64_MAX; // when the recorder's was 0
};

class Client {
public:
   explicit Client(const SideOptions &options)
       : mOptions(options)
       , mHost(MakeHost(options))
       , mControl(kControlChannel, kControlPriority,
                  {[this](bool isOpen) { NoteState(&State::isControlOpen, isOpen); },
                   [this](const uint8_t *data, uint32_t size) {
                      TakeMessage(data, size);
                   }})
       , mVideo(kVideoChannel, kVideoPriority, Silent(&State::isVideoOpen))
       , mAudio(kAudioChannel, kAudioPriority, Silent(&State::isAudioOpen))
       , mLifeline([this] { mPhase.Set([](State &state) { state.isToStop = true; }); }) {}

   ~Client() {
      CloseRecorders();
      CloseHandle(mVideoEvent);
      CloseHandle(mAudioEvent);
      mfw::Exit();
   }
   Client(const Client &) = delete;
   Client &operator=(const Client &) = delete;

   int Run() {
      Connect();
      Tell(OpenRecorders());
      const bool isReady = mPhase.Await(
         kAnswerPatience, [](const State &state) { return state.isReady || state.isOver || state.isToStop; });
      if (!isReady || mPhase.Get().isOver) {
         return kOtherSideEnded;
      }
      SendStreams();
      if (mPhase.Get().isOver) {
         return kOtherSideEnded;
      }
      Tell(CloseRecorders());
      const bool isDone =
         mPhase.Await(kAnswerPatience, [](const State &state) { return state.isDone || state.isOver; });
      return isDone && mPhase.Get().isDone ? 0 : kOtherSideEnded;
   }

private:
   static std::unique_ptr<pcoip_host::LocalHost> MakeHost(const SideOptions &options) {
      pcoip_host::LocalHostOptions host;
      host.role = pcoip_host::LocalRendezvous::Role::kFollowing;
      host.largestDatagram = kLargestDatagram;
      host.largestLossyDatagram = kLargestDatagram;
      host.lossPerMillion = static_cast<uint32_t>(std::lround(options.lossPercent * 10'000));
      auto made = pcoip_host::LocalHost::Create(pcoip_host::Descriptor(options.socket), host);
      if (made == nullptr) {
         throw ToolError("There is no session on descriptor " + std::to_string(options.socket) + ".",
                         "This command is started by 'mavr redirect'.");
      }
      return made;
   }

   void NoteState(bool State::*open, bool isOpen) {
      mPhase.Set([&](State &state) {
         state.*open = isOpen;
         state.isOver = state.isOver || !isOpen;
      });
   }
   Endpoint::Events Silent(bool State::*open) {
      return {[this, open](bool isOpen) { NoteState(open, isOpen); },
              [](const uint8_t *, uint32_t) {
              }};
   }

   void TakeMessage(const uint8_t *data, uint32_t size) {
      CORE::PropertyBag bag;
      if (UnpackBag(data, size, bag)) {
         const std::string message = MessageOf(bag);
         mPhase.Set([&](State &state) {
            state.isReady = state.isReady || message == "ready";
            state.isDone = state.isDone || message == "done";
         });
      }
   }

   template <typename Message>
   void Tell(const Message &message) {
      CORE::PropertyBag bag;
      ToBag(message, bag);
      const std::vector<uint8_t> bytes = PackBag(bag);
      static_cast<void>(mControl.Send(bytes.data(), static_cast<uint32_t>(bytes.size())));
   }

   // The agent opens the channels; here they only wait for it.
   void Connect() {
      const uint32_t videoMs = mOptions.isVideoReliable ? kReliableSendMs : kLossySendMs;
      uint64_t context = 0;
      const bool isStarted = mControl.Start(false, kReliableSendMs) && mVideo.Start(false, videoMs) &&
                             mAudio.Start(false, kReliableSendMs) && mfw::Init(&mHost->table(), &context) &&
                             mHost->connect();
      const bool isOpen = isStarted && mPhase.Await(kOpenPatience, [](const State &state) {
         return (state.isControlOpen && state.isVideoOpen && state.isAudioOpen) || state.isOver || state.isToStop;
      });
      if (!isOpen) {
         throw ToolError("The receiving side did not answer.", "Is the machine very busy? Try again.");
      }
   }

   // ---- Recorders ---------------------------------------------------------------------------------------------------

   Describe OpenRecorders() {
      Describe describe;
      describe.seconds = mOptions.seconds;
      describe.video = OpenCamera();
      describe.audio = OpenMicrophone();
      if (!describe.video && !describe.audio) {
         throw ToolError("Neither a camera nor a microphone could be started.",
                         "'mavr doctor' finds out why; the log has the details.");
      }
      return describe;
   }

   std::optional<VideoPlan> OpenCamera() {
      if (mLibrary.Devices(MMDR_DEV_VIDEO).empty()) {
         return std::nullopt;
      }
      VideoBase::UserPrefs prefs;
      if (const auto preferred = mLibrary.Preferred(MMDR_DEV_VIDEO)) {
         prefs.mUserId = preferred->userId;
         prefs.mDeviceName = preferred->name;
      }
      prefs.mWidth = kWidth;
      prefs.mHeight = kHeight;
      prefs.mFrameRate = kFrameRate;
      prefs.mFrameEvent = mVideoEvent;
      if (!mVideoRec.Open(prefs, &mClock)) {
         std::fprintf(stderr, "mavr: The camera could not be started; 'mavr doctor' finds out why.\n");
         return std::nullopt;
      }
      mHasVideo = true;
      const int32_t index = mVideoRec.DeviceIndex();
      const std::string name =
         index < 0 ? "a dump file" : VideoInputDevices::CachedList()[static_cast<size_t>(index)].mName;
      return VideoPlan{name, kWidth, kHeight, kFrameRate, mOptions.isVideoReliable};
   }

   std::optional<AudioPlan> OpenMicrophone() {
      if (mLibrary.Devices(MMDR_DEV_AUDIO).empty()) { // which also brings the recorder's list up to date
         return std::nullopt;
      }
      AudioUserPrefs prefs;
      if (const auto preferred = mLibrary.Preferred(MMDR_DEV_AUDIO)) {
         prefs.mUserId = preferred->userId;
      }
      prefs.mChunkMS = kChunkMs;
      prefs.mQueueBuffers = kChunksQueued;
      prefs.mSampleRate = kSampleRate;
      prefs.mDataEvent = mAudioEvent;
      if (!mAudioRec.Open(prefs, &mClock)) {
         std::fprintf(stderr, "mavr: The microphone could not be started; 'mavr doctor' finds out why.\n");
         return std::nullopt;
      }
      mHasAudio = true;
      const AudioFacts facts = mAudioRec.Facts();
      std::string name = "the default microphone";
      if (facts.isFile) {
         name = "a dump file";
      } else if (facts.deviceIndex >= 0) {
         name = AudioInputDevices::CachedList()[static_cast<size_t>(facts.deviceIndex)].mName;
      }
      return AudioPlan{name, kSampleRate, kChunkMs, facts.chunkSize};
   }

   // Ends capture; what the recorders saw, and what was sent.
   End CloseRecorders() {
      End end;
      end.cpuSeconds = mCpu.Used();
      end.wallSeconds = mCpu.Wall();
      if (std::exchange(mHasVideo, false)) {
         const CaptureFacts facts = mVideoRec.CameraFacts();
         mVideoRec.Close();
         end.video.emplace();
         end.video->sent = mVideoSender.Counts();
         end.video->device = {facts.deliveredFrames, mVideoRec.GoodFrames(), facts.health.reason};
         end.video->datagramsLost = mHost->Traffic().lost; // pictures alone go lossy
      }
      if (std::exchange(mHasAudio, false)) {
         const AudioFacts facts = mAudioRec.Facts();
         mAudioRec.Close();
         end.audio.emplace();
         end.audio->sent = mAudioSender.Counts();
         end.audio->device = {facts.chunks + facts.lostChunks, facts.chunks, facts.health.reason};
      }
      return end;
   }

   // ---- The stream --------------------------------------------------------------------------------------------------

   void SendStreams() {
      mCpu = CpuClock();
      const CaptureTime time;
      const uint64_t endNs = NowNs() + static_cast<uint64_t>(mOptions.seconds * 1e9);
      std::thread sound([&] {
         if (mHasAudio) {
            Pump(mAudioEvent, mAudioRec, mAudioSender, time, endNs);
         }
      });
      if (mHasVideo) {
         Pump(mVideoEvent, mVideoRec, mVideoSender, time, endNs);
      }
      sound.join();
   }

   [[nodiscard]] bool IsOver(uint64_t endNs) const {
      const State state = mPhase.Get();
      return state.isOver || state.isToStop || NowNs() >= endNs;
   }

   // From a recorder's queue to the channel, in place, until the time is over.
   template <typename Recorder>
   void Pump(HANDLE event, Recorder &recorder, MediaSender &sender, const CaptureTime &time, uint64_t endNs) {
      while (!IsOver(endNs)) {
         WaitForSingleObject(event, kLookMs);
         for (MediaData media; !IsOver(endNs) && recorder.GetData(media); recorder.ReleaseData()) {
            SampleMeta meta;
            std::memcpy(&meta, media.mMeta->GetData(), sizeof meta);
            sender.Send(media.mData->GetData(), static_cast<uint32_t>(media.mData->GetLength()), time.Of(meta.mTimeMS),
                        meta.mTimeMS);
         }
      }
   }

   const SideOptions mOptions;
   Library mLibrary;
   Phase<State> mPhase;
   const std::unique_ptr<pcoip_host::LocalHost> mHost;
   const HANDLE mVideoEvent = CreateEvent(nullptr, false, false, nullptr);
   const HANDLE mAudioEvent = CreateEvent(nullptr, false, false, nullptr);
   SyncMediaClock mClock;
   VideoRec mVideoRec;
   AudioRec mAudioRec;
   bool mHasVideo = false;
   bool mHasAudio = false;
   Endpoint mControl;
   Endpoint mVideo;
   Endpoint mAudio;
   MediaSender mVideoSender{Stream::kVideo, kLargestDatagram, [this](const void *data, uint32_t size) {
                               return mOptions.isVideoReliable ? mVideo.Send(data, size) : mVideo.SendLossy(data, size);
                            }};
   MediaSender mAudioSender{Stream::kAudio, kLargestDatagram, [this](const void *data, uint32_t size) {
                               return mAudio.Send(data, size);
                            }};
   CpuClock mCpu;
   const Lifeline mLifeline;
};

} // namespace

int RunClient(const SideOptions &options) {
   Client client(options);
   return client.Run();
}

} // namespace mavr::redirect
