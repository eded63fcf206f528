#include "tools/mavr/Interrupt.h"
#include "tools/mavr/LevelMeter.h"
#include "tools/mavr/Library.h"
#include "tools/mavr/LiveLine.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/Record.h"
#include "tools/mavr/SoundFile.h"
#include "tools/mavr/ToolError.h"

#include "mmdr/mmdr.h"

#include "lib/mfw/common/linuxSupport.h"
#include "libs/avManager/AudioRec.h"
#include "libs/avManager/SyncMediaClock.h"
#include "libs/utils/DataBuffer.h"
#include "libs/utils/SampleMeta.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace mavr {
namespace {

constexpr uint32_t kQueueMS = 1000;

struct AudioOptions {
   std::string device;
   uint32_t rate = 48000;
   uint32_t chunkMS = 20;
   double seconds = 5;
   std::string out;
   bool json = false;
};

/// What a recording came to.
struct AudioSummary {
   std::string microphone;
   std::string instead; ///< why it is not the microphone that was asked for; empty when it is
   AudioFacts facts;
   uint64_t taken = 0; ///< chunks
   LevelMeter level;
   double seconds = 0; ///< of sound that was taken

   [[nodiscard]] double ChunkRate(double elapsed) const {
      return elapsed > 0 ? static_cast<double>(taken) / elapsed : 0;
   }
};

/// A capture runs from the constructor to its end.
class SoundRecording {
public:
   SoundRecording(const AudioOptions &options, Library *library)
       : mOptions(options) {
      mPrefs.mUserId = Choose(options.device, library);
      mPrefs.mChunkMS = options.chunkMS;
      mPrefs.mQueueBuffers = std::max(kQueueMS / options.chunkMS, 4U);
      mPrefs.mSampleRate = options.rate;
      mPrefs.mDataEvent = mEvent;
      if (!mRecorder.Open(mPrefs, &mClock)) {
         CloseHandle(mEvent);
         throw ToolError("No microphone could be started.", "'mavr doctor' finds out why; the log has the details.");
      }
      NoteSource();
   }
   ~SoundRecording() {
      mRecorder.Close();
      CloseHandle(mEvent);
   }
   SoundRecording(const SoundRecording &) = delete;
   SoundRecording &operator=(const SoundRecording &) = delete;

   [[nodiscard]] uint32_t ChunkSize() const { return mRecorder.Facts().chunkSize; }

   AudioSummary Run(SoundFile *file) {
      if (!mSummary.instead.empty()) {
         std::fprintf(stderr, "mavr: %s\n", Printable(mSummary.instead).c_str());
      }
      AwaitFirstChunk();
      mStart = NowSeconds();
      while (!IsOver()) {
         WaitForSingleObject(mEvent, kLookMS);
         for (MediaData chunk; !IsOver() && mRecorder.GetData(chunk);) {
            Take(chunk, file);
         }
         if (!mRecorder.IsDataAvailable() && !mRecorder.Facts().health.ok()) {
            break; // and nothing will come any more
         }
         Look();
      }
      mLine.End();
      mSummary.facts = mRecorder.Facts();
      mElapsed = NowSeconds() - mStart;
      mRecorder.Close();
      if (file != nullptr) {
         file->Finish();
      }
      return mSummary;
   }
   [[nodiscard]] double Elapsed() const { return mElapsed; }

private:
   // The user id of the microphone that was asked for, else of the stored preference; else none: the default one. The
   // library is asked in any case: the recorder looks in the list as it was last made.
   std::string Choose(const std::string &wanted, Library *library) {
      const std::vector<Device> microphones = library->Devices(MMDR_DEV_AUDIO);
      if (wanted.empty()) {
         const auto preferred = library->Preferred(MMDR_DEV_AUDIO);
         return preferred ? preferred->userId : std::string();
      }
      for (const Device &microphone : microphones) {
         if (microphone.userId == wanted || microphone.name == wanted) {
            return microphone.userId;
         }
      }
      for (const Device &microphone : microphones) {
         if (microphone.userId.find(wanted) != std::string::npos) {
            return microphone.userId;
         }
      }
      mSummary.instead = "No microphone matches '" + wanted + "'; the default one is recorded instead.";
      return {};
   }

   void NoteSource() {
      const AudioFacts facts = mRecorder.Facts();
      if (facts.isFile) {
         mSummary.microphone = "a dump file";
         mSummary.instead = "The settings put a dump file in the microphone's place.";
      } else if (facts.deviceIndex < 0) {
         mSummary.microphone = "the default microphone";
      } else {
         mSummary.microphone = AudioInputDevices::CachedList()[static_cast<size_t>(facts.deviceIndex)].mName;
      }
   }

   void AwaitFirstChunk() {
      const double start = NowSeconds();
      while (!mRecorder.IsDataAvailable()) {
         WaitForSingleObject(mEvent, kLookMS);
         if (IsInterrupted()) {
            throw ToolError("Interrupted before sound came from " + mSummary.microphone + ".",
                            "It gets 4 seconds for its first chunk.");
         }
         if (NowSeconds() - start < kFirstMS / 1000.0) {
            continue;
         }
         const osal::Status health = mRecorder.Facts().health;
         throw ToolError("No sound came from " + mSummary.microphone + " within 4 seconds" +
                            (health.ok() ? "." : ": " + health.reason + "."),
                         "Is it plugged in, and may programs listen? 'mavr doctor' looks at what capture stands on.");
      }
   }

   [[nodiscard]] bool IsOver() const { return IsInterrupted() || mSummary.seconds >= mOptions.seconds || HasStalled(); }
   // Sound that does not come any more is no reason to wait for ever.
   [[nodiscard]] bool HasStalled() const { return NowSeconds() - mStart > mOptions.seconds + kFirstMS / 1000.0; }

   void Take(const MediaData &chunk, SoundFile *file) {
      const auto bytes = static_cast<size_t>(chunk.mData->GetLength());
      ++mSummary.taken;
      mSummary.level.Add(chunk.mData->GetData(), bytes);
      mRecent.Add(chunk.mData->GetData(), bytes);
      mSummary.seconds += static_cast<double>(bytes) / 2 / mOptions.rate;
      if (file != nullptr) {
         SampleMeta meta;
         std::memcpy(&meta, chunk.mMeta->GetData(), sizeof meta);
         file->Write(chunk.mData->GetData(), meta.mTimeMS);
      }
      mRecorder.ReleaseData();
   }

   // Some times a second, for whoever watches.
   void Look() {
      if (!mLine.IsDue()) {
         return;
      }
      const AudioFacts facts = mRecorder.Facts();
      mLine.Show("%5.1f s  peak %6.1f  RMS %6.1f dBFS  %5.1f chunks/s of %u bytes  lost %llu  queue %d%s",
                 mSummary.seconds, mRecent.PeakDb(), mRecent.RmsDb(), mSummary.ChunkRate(NowSeconds() - mStart),
                 facts.chunkSize, static_cast<unsigned long long>(facts.lostChunks), facts.queuedChunks,
                 facts.health.ok() ? "" : ("  " + facts.health.reason).c_str());
      mRecent = LevelMeter();
   }

   const AudioOptions &mOptions;
   AudioSummary mSummary;
   SyncMediaClock mClock;
   const HANDLE mEvent = CreateEvent(nullptr, false, false, nullptr);
   AudioUserPrefs mPrefs;
   AudioRec mRecorder;
   LevelMeter mRecent; // since the last look
   LiveLine mLine;
   double mStart = 0;
   double mElapsed = 0;
};

Json ToJson(const AudioSummary &summary, const AudioOptions &options, double elapsed) {
   const AudioFacts &facts = summary.facts;
   return {{"microphone", summary.microphone},
           {"instead", summary.instead.empty() ? Json(nullptr) : Json(summary.instead)},
           {"seconds", summary.seconds},
           {"sampleRate", options.rate},
           {"chunkSize", facts.chunkSize},
           {"chunksPerSecond", summary.ChunkRate(elapsed)},
           {"chunksTaken", summary.taken},
           {"chunksLost", facts.lostChunks},
           {"peakDb", summary.level.PeakDb()},
           {"rmsDb", summary.level.RmsDb()},
           {"health", facts.health.ok() ? Json(nullptr) : Json(facts.health.reason)},
           {"file", options.out.empty() ? Json(nullptr) : Json(options.out)}};
}

void Print(const AudioSummary &summary, const AudioOptions &options, double elapsed) {
   const AudioFacts &facts = summary.facts;
   std::printf("%s\n", Printable(summary.microphone).c_str());
   char text[128];
   std::vector<std::vector<std::string>> rows;
   std::snprintf(text, sizeof text, "%.2f s at %u Hz, signed 16 bits, mono", summary.seconds, options.rate);
   rows.push_back({"sound", text});
   std::snprintf(text, sizeof text, "peak %.1f dBFS, RMS %.1f dBFS", summary.level.PeakDb(), summary.level.RmsDb());
   rows.push_back({"level", text});
   std::snprintf(text, sizeof text, "%llu of %u bytes, %.1f a second, %llu lost",
                 static_cast<unsigned long long>(summary.taken), facts.chunkSize, summary.ChunkRate(elapsed),
                 static_cast<unsigned long long>(facts.lostChunks));
   rows.push_back({"chunks", text});
   if (!facts.health.ok()) {
      rows.push_back({"microphone", facts.health.reason});
   }
   if (!options.out.empty()) {
      rows.push_back({"file", options.out});
   }
   PrintColumns(rows);
}

int RecordAudio(const AudioOptions &options) {
   WatchForInterrupt();
   Library library;
   SoundRecording recording(options, &library);
   std::unique_ptr<SoundFile> file;
   if (!options.out.empty()) {
      file = MakeSoundFile(options.out, options.rate, recording.ChunkSize());
   }
   const AudioSummary summary = recording.Run(file.get());
   if (options.json) {
      PrintJson(ToJson(summary, options, recording.Elapsed()));
   } else {
      Print(summary, options, recording.Elapsed());
   }
   return 0;
}

} // namespace

void AddRecordAudioCommand(const Command &record) {
   const Command audio = record.AddCommand("audio", "Sound of a microphone: level, losses, and a file of it");
   const auto options = std::make_shared<AudioOptions>();
   audio.AddText("--device", &options->device,
                 "User id, a piece of one, or display name; else the preferred microphone");
   audio.AddNumber("--rate", &options->rate, "Samples a second").ShowDefault().Within(8000, 192000);
   audio.AddNumber("--chunk-ms", &options->chunkMS, "Milliseconds of a chunk").ShowDefault().Within(1, 1000);
   audio.AddNumber("--seconds", &options->seconds, "How long").ShowDefault().Within(0.1, 1e6);
   audio.AddText("--out", &options->out, "File: .wav, or any other ending for a dump that 'mavr dump' reads");
   audio.AddFlag("--json", &options->json, "Print the summary as JSON");
   audio.Runs([=] { return RecordAudio(*options); });
}

} // namespace mavr
