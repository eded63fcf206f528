#include "tools/mavr/FrameFile.h"
#include "tools/mavr/Interrupt.h"
#include "tools/mavr/Library.h"
#include "tools/mavr/LiveLine.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/Record.h"
#include "tools/mavr/ToolError.h"

#include "mmdr/mmdr.h"

#include "lib/mfw/common/linuxSupport.h"
#include "libs/avManager/FramePacing.h"
#include "libs/avManager/SyncMediaClock.h"
#include "libs/avManager/VideoRec.h"
#include "libs/avManager/devices/VideoInputDevices.h"
#include "libs/utils/DataBuffer.h"
#include "libs/utils/SampleMeta.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

namespace mavr {
namespace {

struct VideoOptions {
   std::string device;
   std::string size = "640x480";
   uint32_t rate = 30;
   double seconds = 5;
   std::string out;
   bool json = false;
};

/// What a recording came to.
struct VideoSummary {
   Device camera;
   std::string instead; ///< why it is not the camera that was asked for; empty when it is
   VideoBase::UserPrefs asked;
   CaptureFacts facts;
   uint64_t good = 0;    ///< frames that reached the queue
   uint64_t missed = 0;  ///< events that brought none
   uint64_t written = 0; ///< frames taken from the queue
   int32_t mostQueued = 0;
   double seconds = 0; ///< from the first frame to the last

   /// 0 when one frame is all there is.
   [[nodiscard]] double Rate() const { return seconds > 0 ? static_cast<double>(written - 1) / seconds : 0; }
   [[nodiscard]] uint64_t Dropped() const { return facts.deliveredFrames > good ? facts.deliveredFrames - good : 0; }
   [[nodiscard]] bool IsScaled() const {
      return facts.width != 0 && (facts.width != asked.mWidth || facts.height != asked.mHeight);
   }
   [[nodiscard]] const char *Scaling() const { return IsScaled() ? "LETTERBOX" : "not scaled"; }
};

// "WxH".
bool ReadSize(const std::string &text, uint32_t *width, uint32_t *height) {
   char rest = 0;
   return std::sscanf(text.c_str(), "%ux%u%c", width, height, &rest) == 2 && IsCaptureSize(*width, *height);
}

// The camera that was asked for, else the stored preference, else none, which means the first.
void TakeDevice(const std::string &wanted, Library *library, VideoBase::UserPrefs *prefs) {
   if (!wanted.empty()) {
      prefs->mUserId = wanted;
      prefs->mDeviceName = wanted;
   } else if (const auto preferred = library->Preferred(MMDR_DEV_VIDEO)) {
      prefs->mUserId = preferred->userId;
      prefs->mDeviceName = preferred->name;
   }
}

// A capture runs from the constructor to Stop.
class Recording {
public:
   Recording(const VideoOptions &options, Library *library)
       : mOptions(options)
       , mEvent(CreateEvent(nullptr, false, false, nullptr)) {
      ReadSize(options.size, &mSummary.asked.mWidth, &mSummary.asked.mHeight);
      mSummary.asked.mFrameRate = options.rate;
      TakeDevice(options.device, library, &mSummary.asked);
      mSummary.asked.mFrameEvent = mEvent;
      if (!mRecorder.Open(mSummary.asked, &mClock)) {
         CloseHandle(mEvent);
         throw ToolError("No camera could be started.", "'mavr doctor' finds out why; the log has the details.");
      }
      NoteSource();
   }
   ~Recording() {
      mRecorder.Close();
      CloseHandle(mEvent);
   }
   Recording(const Recording &) = delete;
   Recording &operator=(const Recording &) = delete;

   VideoSummary Run(FrameFile *file) {
      if (!mSummary.instead.empty()) {
         std::fprintf(stderr, "mavr: %s\n", Printable(mSummary.instead).c_str());
      }
      AwaitFirstFrame();
      const double start = NowSeconds();
      double last = start;
      while (!IsOver(start, file)) {
         WaitForSingleObject(mEvent, kLookMS);
         mSummary.mostQueued = std::max(mSummary.mostQueued, mRecorder.QueuedFrames());
         for (MediaData frame; !IsOver(start, file) && mRecorder.GetData(frame);) {
            Take(frame, file);
            last = NowSeconds();
         }
         if (!mRecorder.IsDataAvailable() && !mRecorder.CameraFacts().health.ok()) {
            break; // and nothing will come any more
         }
         Look(last - start);
      }
      mLine.End();
      mSummary.seconds = last - start;
      mSummary.facts = mRecorder.CameraFacts();
      mRecorder.Close();
      mSummary.good = mRecorder.GoodFrames();
      mSummary.missed = mRecorder.MissedFrames();
      if (file != nullptr) {
         file->Finish();
      }
      return mSummary;
   }

private:
   void NoteSource() {
      const std::string &wanted = mOptions.device;
      Device &got = mSummary.camera;
      if (mRecorder.DeviceIndex() < 0) {
         got = {"", "a dump file"};
         mSummary.instead = "The settings put a dump file in the camera's place.";
         return;
      }
      const MMDev::DeviceInfo &camera = VideoInputDevices::CachedList()[static_cast<size_t>(mRecorder.DeviceIndex())];
      got = {camera.mUserId, camera.mName};
      if (!wanted.empty() && got.name != wanted && got.userId.find(wanted) == std::string::npos) {
         mSummary.instead = "No camera matches '" + wanted + "'; '" + got.name + "' is recorded instead.";
      }
   }

   void AwaitFirstFrame() {
      const double start = NowSeconds();
      while (!mRecorder.IsDataAvailable()) {
         WaitForSingleObject(mEvent, kLookMS);
         if (IsInterrupted()) {
            throw ToolError("Interrupted before a frame came from '" + mSummary.camera.name + "'.",
                            "It gets 4 seconds for its first one.");
         }
         if (NowSeconds() - start < kFirstMS / 1000.0) {
            continue;
         }
         const osal::Status health = mRecorder.CameraFacts().health;
         throw ToolError("No frame came from '" + mSummary.camera.name + "' within 4 seconds" +
                            (health.ok() ? "." : ": " + health.reason + "."),
                         "Is another program holding it? 'mavr doctor' looks at what capture stands on.");
      }
   }

   [[nodiscard]] bool IsOver(double start, const FrameFile *file) const {
      return IsInterrupted() || NowSeconds() - start >= mOptions.seconds || (file != nullptr && file->IsFull());
   }

   void Take(const MediaData &frame, FrameFile *file) {
      const uint32_t wanted = mSummary.asked.mWidth * mSummary.asked.mHeight * 3 / 2;
      if (static_cast<uint32_t>(frame.mData->GetLength()) != wanted) {
         throw ToolError("The dump file in the camera's place says " + std::to_string(frame.mData->GetLength()) +
                            " bytes a frame where a picture has " + std::to_string(wanted) + ".",
                         "It is damaged; 'mavr dump info' looks into it.");
      }
      ++mSummary.written;
      if (file != nullptr) {
         SampleMeta meta;
         std::memcpy(&meta, frame.mMeta->GetData(), sizeof meta);
         file->Write(frame.mData->GetData(), meta.mTimeMS);
      }
      mRecorder.ReleaseData();
   }

   // Some times a second, for whoever watches.
   void Look(double seconds) {
      if (!mLine.IsDue()) {
         return;
      }
      mSummary.facts = mRecorder.CameraFacts();
      mSummary.good = mRecorder.GoodFrames();
      mSummary.seconds = seconds;
      const CaptureFacts &facts = mSummary.facts;
      mLine.Show("%5.1f s  %5.2f of %u fps  kept %llu  dropped %llu  missed %llu  queue %d/10  %ux%u -> %ux%u %s%s",
                 seconds, mSummary.Rate(), mSummary.asked.mFrameRate, static_cast<unsigned long long>(mSummary.good),
                 static_cast<unsigned long long>(mSummary.Dropped()),
                 static_cast<unsigned long long>(mRecorder.MissedFrames()), mRecorder.QueuedFrames(), facts.width,
                 facts.height, mSummary.asked.mWidth, mSummary.asked.mHeight, mSummary.Scaling(),
                 facts.health.ok() ? "" : ("  " + facts.health.reason).c_str());
   }

   const VideoOptions &mOptions;
   VideoSummary mSummary;
   SyncMediaClock mClock;
   const HANDLE mEvent;
   VideoRec mRecorder;
   LiveLine mLine;
};

Json ToJson(const VideoSummary &summary, const std::string &out) {
   const CaptureFacts &facts = summary.facts;
   return {{"camera", ToJson(summary.camera)},
           {"instead", summary.instead.empty() ? Json(nullptr) : Json(summary.instead)},
           {"seconds", summary.seconds},
           {"rateAsked", summary.asked.mFrameRate},
           {"rate", summary.Rate()},
           {"framesDelivered", facts.deliveredFrames},
           {"framesKept", summary.good},
           {"framesDropped", summary.Dropped()},
           {"framesMissed", summary.missed},
           {"framesWritten", summary.written},
           {"mostQueued", summary.mostQueued},
           {"cameraSize", {{"width", facts.width}, {"height", facts.height}}},
           {"size", {{"width", summary.asked.mWidth}, {"height", summary.asked.mHeight}}},
           {"scaling", summary.IsScaled() ? Json("LETTERBOX") : Json(nullptr)},
           {"health", facts.health.ok() ? Json(nullptr) : Json(facts.health.reason)},
           {"file", out.empty() ? Json(nullptr) : Json(out)}};
}

void Print(const VideoSummary &summary, const std::string &out) {
   const CaptureFacts &facts = summary.facts;
   std::printf("%s (%s)\n", Printable(summary.camera.name).c_str(), Printable(summary.camera.userId).c_str());
   const auto number = [](uint64_t value) {
      return std::to_string(value);
   };
   char text[128];
   std::vector<std::vector<std::string>> rows;
   if (summary.written > 1) {
      std::snprintf(text, sizeof text, "%.2f fps of %u asked for, in %.1f s", summary.Rate(), summary.asked.mFrameRate,
                    summary.seconds);
      rows.push_back({"rate", text});
   }
   rows.push_back({"frames", number(summary.written) + " taken, " + number(facts.deliveredFrames) + " delivered, " +
                                number(summary.Dropped()) + " dropped, " + number(summary.missed) + " missed"});
   rows.push_back({"queue", "at most " + std::to_string(summary.mostQueued) + " of 10 waiting"});
   std::snprintf(text, sizeof text, "%ux%u from the camera, %ux%u recorded, %s", facts.width, facts.height,
                 summary.asked.mWidth, summary.asked.mHeight, summary.Scaling());
   rows.push_back({"size", text});
   if (!facts.health.ok()) {
      rows.push_back({"camera", facts.health.reason});
   }
   if (!out.empty()) {
      rows.push_back({"file", out});
   }
   PrintColumns(rows);
}

int RecordVideo(const VideoOptions &options) {
   WatchForInterrupt();
   Library library;
   Recording recording(options, &library);
   std::unique_ptr<FrameFile> file;
   if (!options.out.empty()) {
      FrameShape shape{0, 0, options.rate};
      ReadSize(options.size, &shape.width, &shape.height);
      file = MakeFrameFile(options.out, shape);
   }
   const VideoSummary summary = recording.Run(file.get());
   if (options.json) {
      PrintJson(ToJson(summary, options.out));
   } else {
      Print(summary, options.out);
   }
   return 0;
}

} // namespace

void AddRecordVideoCommand(const Command &record) {
   const Command video = record.AddCommand("video", "Frames of a camera: rate, losses, size, and a file of them");
   const auto options = std::make_shared<VideoOptions>();
   const auto isSize = [](const std::string &text) {
      uint32_t width = 0;
      uint32_t height = 0;
      return ReadSize(text, &width, &height)
                ? std::string()
                : "'" + text + "' is no size in pixels, as 640x480 is, both multiples of 4";
   };
   video.AddText("--device", &options->device, "User id, a piece of one, or display name; else the preferred camera");
   video.AddText("--size", &options->size, "Size to record").ShowDefault().Check(isSize);
   video.AddNumber("--fps", &options->rate, "Frames a second").ShowDefault().Within(1, 1000);
   video.AddNumber("--seconds", &options->seconds, "How long").ShowDefault().Within(0.1, 1e6);
   video.AddText("--out", &options->out,
                 "File: .y4m a stream, .png the first frame, any other ending a dump that 'mavr dump' reads");
   video.AddFlag("--json", &options->json, "Print the summary as JSON");
   video.Runs([=] { return RecordVideo(*options); });
}

} // namespace mavr
