#include "tools/mavr/Commands.h"
#include "tools/mavr/FrameFile.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/SoundFile.h"
#include "tools/mavr/ToolError.h"

#include "libs/avManager/AVSampleHandler.h"
#include "libs/avManager/VideoBase.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

namespace mavr {
namespace {

/// What a dump file holds.
struct DumpFacts {
   int32_t type = kMediaNone;
   MediaFileHeader header{};
   uint64_t samples = 0;
   uint32_t firstMS = 0;
   uint32_t lastMS = 0;

   // The clock of a dump wraps at 32 bits.
   [[nodiscard]] double Seconds() const { return (lastMS - firstMS) / 1000.0; }
   [[nodiscard]] double Rate() const { return lastMS != firstMS ? static_cast<double>(samples - 1) / Seconds() : 0; }
};

/// A dump that is open at its first sample.
class Dump {
public:
   explicit Dump(const std::string &path)
       : mPath(path) {
      for (const int32_t type : {kMediaVideo, kMediaAudio}) {
         if (mFile.InitRead(type, path, mFacts.header)) {
            mFacts.type = type;
            return;
         }
         const bool isOpen = mFile.IsReading();
         mFile.CloseFile();
         if (!isOpen) {
            throw ToolError("'" + path + "' cannot be opened.", "It has to be a plain file that you may read.");
         }
      }
      throw ToolError("'" + path + "' is no dump.", "'mavr record video --out FILE.dump' makes one.");
   }

   [[nodiscard]] const DumpFacts &Facts() const { return mFacts; }

   /// Calls `take` with each sample, to the last whole one.
   template <typename Take>
   void ForEach(Take take) {
      MediaSampleRecord record;
      while (mFile.ReadSample(record)) {
         mFacts.firstMS = mFacts.samples == 0 ? record.mHeader.mMeta.mTimeMS : mFacts.firstMS;
         mFacts.lastMS = record.mHeader.mMeta.mTimeMS;
         ++mFacts.samples;
         take(record);
      }
   }

private:
   const std::string mPath;
   AVSampleHandler mFile;
   DumpFacts mFacts;
};

Json ToJson(const DumpFacts &facts) {
   const MediaFileHeader &header = facts.header;
   Json json{{"media", facts.type == kMediaVideo ? "video" : "audio"}};
   if (facts.type == kMediaVideo) {
      json["width"] = header.mWidthOrChunkSize;
      json["height"] = header.mHeight;
      json["pixelFormat"] = VideoBase::PixelFormatName(static_cast<int32_t>(header.mPixelFormat));
      json["frameSize"] = header.mFrameSize;
   } else {
      json["chunkSize"] = header.mWidthOrChunkSize;
   }
   json["samples"] = facts.samples;
   json["seconds"] = facts.Seconds();
   json["rate"] = facts.Rate();
   return json;
}

int Info(const std::string &path, bool asJson) {
   Dump dump(path);
   dump.ForEach([](const MediaSampleRecord &) {});
   const DumpFacts &facts = dump.Facts();
   if (asJson) {
      PrintJson(ToJson(facts));
      return 0;
   }
   const MediaFileHeader &header = facts.header;
   char text[128];
   if (facts.type == kMediaVideo) {
      std::snprintf(text, sizeof text, "video, %ux%u %s, %u bytes a frame", header.mWidthOrChunkSize, header.mHeight,
                    VideoBase::PixelFormatName(static_cast<int32_t>(header.mPixelFormat)), header.mFrameSize);
   } else {
      std::snprintf(text, sizeof text, "audio, %u bytes a chunk", header.mWidthOrChunkSize);
   }
   std::vector<std::vector<std::string>> rows{{"holds", text}};
   std::snprintf(text, sizeof text, "%llu in %.3f s, %.2f a second", static_cast<unsigned long long>(facts.samples),
                 facts.Seconds(), facts.Rate());
   rows.push_back({facts.type == kMediaVideo ? "frames" : "chunks", text});
   PrintColumns(rows);
   return 0;
}

// Frames of a dump's shape, and no more than a picture has: its header says anything.
FrameShape ShapeOf(const DumpFacts &facts, const std::string &path) {
   const MediaFileHeader &header = facts.header;
   const uint64_t pixels = uint64_t{header.mWidthOrChunkSize} * header.mHeight;
   const bool isI420 = header.mPixelFormat == VideoBase::I420 && pixels * 3 / 2 == header.mFrameSize &&
                       header.mWidthOrChunkSize % 2 == 0 && header.mHeight % 2 == 0 && pixels > 0;
   if (!isI420) {
      throw ToolError("'" + path + "' holds no I420 pictures of even sides.", "'mavr dump info' says what it holds.");
   }
   return {header.mWidthOrChunkSize, header.mHeight, 0};
}

// A dump says nothing of its sound's rate, so it is worked out from the chunks' times, as the nearest that is usual.
uint32_t SampleRateOf(const DumpFacts &facts) {
   const double samples = facts.Rate() * facts.header.mWidthOrChunkSize / 2;
   uint32_t nearest = 48000;
   for (const uint32_t rate : {8000U, 11025U, 16000U, 22050U, 24000U, 32000U, 44100U, 48000U, 96000U}) {
      if (std::fabs(samples - rate) < std::fabs(samples - nearest)) {
         nearest = rate;
      }
   }
   return nearest;
}

// A stream states its rate before its first sample, so the dump is read twice.
int Convert(const std::string &path, const std::string &out, uint32_t rate) {
   Dump survey(path);
   survey.ForEach([](const MediaSampleRecord &) {});
   const DumpFacts &facts = survey.Facts();
   if (facts.samples == 0) {
      throw ToolError("'" + path + "' holds nothing.", "Nothing was captured into it, or it is damaged.");
   }
   std::error_code unknown; // as a file that is not there yet
   if (std::filesystem::equivalent(path, out, unknown)) {
      throw ToolError("'" + out + "' is the dump itself.", "Give another name: a dump is not converted in place.");
   }
   Dump dump(path);
   const auto copyTo = [&](auto file) {
      dump.ForEach([&](const MediaSampleRecord &record) { file->Write(record.mData, record.mHeader.mMeta.mTimeMS); });
      file->Finish();
   };
   if (facts.type == kMediaAudio) {
      if (!std::string_view(out).ends_with(".wav")) {
         throw ToolError("'" + path + "' holds sound, which only becomes a WAV file.",
                         "Give a name that ends in .wav.");
      }
      copyTo(MakeSoundFile(out, rate != 0 ? rate : SampleRateOf(facts), facts.header.mWidthOrChunkSize));
   } else {
      FrameShape shape = ShapeOf(facts, path);
      if (!std::string_view(out).ends_with(".y4m") && !std::string_view(out).ends_with(".png")) {
         throw ToolError("'" + path + "' holds pictures, which become a stream or a picture.",
                         "Give a name that ends in .y4m or .png.");
      }
      shape.rate = std::clamp(rate != 0 ? rate : static_cast<uint32_t>(std::llround(facts.Rate())), 1U, 1000U);
      copyTo(MakeFrameFile(out, shape));
   }
   return 0;
}

} // namespace

void AddDumpCommand(const Command &app) {
   const Command dump = app.AddCommand("dump", "Look into a dump of frames or sound, or convert it");
   dump.RequireCommand();
   const auto path = std::make_shared<std::string>();
   const auto out = std::make_shared<std::string>();
   const auto json = std::make_shared<bool>(false);

   const Command info = dump.AddCommand("info", "Say what a dump file holds");
   info.AddText("FILE", path.get(), "A dump file").Required();
   info.AddFlag("--json", json.get(), "Print JSON");
   info.Runs([=] { return Info(*path, *json); });

   const Command convert = dump.AddCommand("convert", "Turn a dump into a stream, a picture or sound");
   convert.AddText("FILE", path.get(), "A dump file").Required();
   convert.AddText("OUT", out.get(), "File: .y4m a stream or .png the first frame of pictures, .wav of sound")
      .Required();
   const auto rate = std::make_shared<uint32_t>(0);
   convert.AddNumber("--rate", rate.get(), "Frames or samples a second; else worked out from the times in the dump")
      .Within(1, 384000);
   convert.Runs([=] { return Convert(*path, *out, *rate); });
}

} // namespace mavr
