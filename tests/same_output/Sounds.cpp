// Tones, chunks cut out of deliveries of any length, and the files that keep them.

#include "libs/avManager/AVSampleHandler.h"
#include "libs/avManager/AudioChunker.h"
#include "libs/avManager/WavFileWriter.h"
#include "osal/simulated/ToneGenerator.h"
#include "tests/kit/TempDir.h"
#include "tests/same_output/Report.h"

#include <algorithm>

namespace {

using same::Digest;
using same::Fail;
using same::Seeded;

constexpr int32_t kRates[] = {8000, 11025, 16000, 22050, 44100, 48000, 96000};

std::vector<char> Tone(double hertz, double level, int32_t rate, uint64_t position, size_t samples) {
   std::vector<char> bytes(samples * osal::ToneGenerator::kBytesPerSample);
   osal::ToneGenerator(hertz, level, rate).Fill(position, samples, bytes.data());
   return bytes;
}

void PrintTones() {
   for (const int32_t rate : kRates) {
      Digest digest;
      for (const double hertz : {1.0, 440.0, 997.0, 3999.5, 12345.678}) {
         for (const double level : {0.001, 0.5, 1.0}) {
            // From the start, and after a day.
            for (const uint64_t position : {uint64_t{0}, uint64_t{86400} * static_cast<uint64_t>(rate)}) {
               const std::vector<char> tone = Tone(hertz, level, rate, position, 4801);
               digest.Add(std::string_view(tone.data(), tone.size()));
            }
         }
      }
      digest.Print("tone." + std::to_string(rate));
   }
}

void PrintChunkSizes() {
   Digest digest;
   for (const int32_t rate : kRates) {
      for (const int32_t bits : {8, 16, 24, 32}) {
         for (int32_t channels = 0; channels <= 8; ++channels) {
            for (const int32_t ms : {0, 1, 5, 10, 20, 60, 134217727}) {
               digest.AddNumber(AudioChunkSize(rate, bits, channels, ms));
            }
         }
      }
   }
   digest.Print("chunk.sizes");
}

// Takes all chunks but each eleventh.
class Taker {
public:
   Digest digest;
   std::vector<std::string> chunks;

   void ChunkBegins() { digest.Add("begins"); }
   bool Copy(const char **cursor, size_t bytes) { return Copy(cursor, bytes, "", 0); }
   bool Copy(const char **cursor, size_t bytes, const char *cache, size_t cached) {
      if (++mSeen % 11 == 0) {
         return false;
      }
      chunks.push_back(std::string(cache, cached) + std::string(*cursor, bytes));
      digest.Add(chunks.back());
      *cursor += bytes;
      return true;
   }
   void Taken() { digest.Add("taken"); }
   void Dropped(uint32_t number) { digest.AddNumber(number); }

private:
   uint32_t mSeen = 0;
};

std::vector<std::string> CutTone(const std::string &name, int32_t rate, int32_t ms) {
   const auto chunkSize = static_cast<size_t>(AudioChunkSize(rate, 16, 1, ms));
   AudioChunker chunker;
   if (!chunker.SetUp(chunkSize)) {
      Fail("no memory for a chunk");
   }
   Taker taker;
   Seeded lengths(static_cast<uint32_t>(rate + ms));
   const std::vector<char> tone = Tone(440, 0.5, rate, 0, static_cast<size_t>(rate) * 2);
   for (size_t at = 0; at < tone.size();) {
      const size_t length = std::min<size_t>(lengths.Below(static_cast<uint32_t>(3 * chunkSize)), tone.size() - at);
      chunker.Cut(tone.data() + at, length, taker);
      taker.digest.AddNumber(static_cast<int64_t>(chunker.CachedSize()));
      at += length;
   }
   taker.digest.AddNumber(static_cast<int64_t>(taker.chunks.size()));
   taker.digest.Print("chunks." + name);
   return taker.chunks;
}

void PrintFiles(const std::vector<std::string> &chunks) {
   const kit::TempDir folder;
   WavFileWriter wav;
   bool good = wav.Open(folder / "tone.wav", WavFileWriter::kWriteMode) && wav.WriteHeader(48000, 1);
   AVSampleHandler dump;
   const auto chunkSize = static_cast<uint32_t>(chunks.front().size());
   good = good && dump.InitWrite(kMediaAudio, folder / "tone.dump", MediaFileHeader::ForAudio(chunkSize));
   SampleMeta meta;
   for (const std::string &chunk : chunks) {
      good = good && wav.WriteBytes(chunk.data(), chunk.size()) && dump.WriteSample(chunk.data(), chunk.size(), &meta);
      meta.mTimeMS += 20;
   }
   if (!good) {
      Fail("a file cannot be written");
   }
   wav.Close();
   dump.CloseFile();
   for (const char *const name : {"tone.wav", "tone.dump"}) {
      Digest digest;
      digest.Add(kit::ReadFile(folder / name));
      digest.Print(std::string("file.") + name);
   }
}

} // namespace

void same::PrintSounds() {
   PrintTones();
   PrintChunkSizes();
   for (const int32_t rate : kRates) {
      for (const int32_t ms : {10, 20}) {
         CutTone(std::to_string(rate) + "." + std::to_string(ms), rate, ms);
      }
   }
   PrintFiles(CutTone("kept", 48000, 20));
}
