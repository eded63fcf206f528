#include "libs/avManager/WavFileWriter.h"

#include "tests/kit/TempDir.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <memory>
#include <string>

namespace {

using namespace std::string_literals;

const std::string k8000HertzMono = "RIFF\xFF\xFF\xFF\x7F"
                                   "WAVEfmt "
                                   "\x10\x00\x00\x00"
                                   "\x01\x00\x01\x00"
                                   "\x40\x1F\x00\x00"
                                   "\x80\x3E\x00\x00" // 16000 bytes a second
                                   "\x02\x00\x10\x00"
                                   "data\xFF\xFF\xFF\x7F"s;

std::string OutputOf(const std::string &command) {
   const auto close = [](FILE *pipe) {
      (void)pclose(pipe);
   };
   const std::unique_ptr<FILE, decltype(close)> pipe(popen(command.c_str(), "r"), close);
   std::string text;
   std::array<char, 4096> bytes{};
   for (size_t read = 1; pipe != nullptr && read > 0;) {
      read = std::fread(bytes.data(), 1, bytes.size(), pipe.get());
      text.append(bytes.data(), read);
   }
   return text;
}

TEST(WavFileWriter, WritesTheDocumentedBytes) {
   const kit::TempDir dir;
   WavFileWriter file;
   ASSERT_TRUE(file.Open(dir / "mono.wav", WavFileWriter::kWriteMode));
   EXPECT_TRUE(file.IsOpen());
   EXPECT_TRUE(file.WriteHeader(8000, 1));
   EXPECT_TRUE(file.WriteBytes("samples", 7));
   file.Close();
   EXPECT_FALSE(file.IsOpen());
   ASSERT_EQ(k8000HertzMono.size(), 44U);
   EXPECT_EQ(kit::ReadFile(dir / "mono.wav"), k8000HertzMono + "samples");
}

TEST(WavFileWriter, WritesRateAndBlockOfStereo) {
   const kit::TempDir dir;
   WavFileWriter file;
   ASSERT_TRUE(file.Open(dir / "stereo.wav", WavFileWriter::kWriteMode));
   EXPECT_TRUE(file.WriteHeader(48000, 2));
   EXPECT_EQ(kit::ReadFile(dir / "stereo.wav").substr(20, 14), "\x01\x00\x02\x00"
                                                               "\x80\xBB\x00\x00"
                                                               "\x00\xEE\x02\x00"
                                                               "\x04\x00"s);
}

TEST(WavFileWriter, WritesIntegersLowestByteFirst) {
   const kit::TempDir dir;
   WavFileWriter file;
   ASSERT_TRUE(file.Open(dir / "numbers", WavFileWriter::kWriteMode));
   EXPECT_TRUE(file.WriteU32(0x01020304));
   EXPECT_TRUE(file.WriteU16(0x0506));
   EXPECT_TRUE(file.WriteBytes(nullptr, 0));
   EXPECT_FALSE(file.WriteBytes(nullptr, 1));
   EXPECT_EQ(kit::ReadFile(dir / "numbers"), "\x04\x03\x02\x01\x06\x05");
}

TEST(WavFileWriter, ClosesWhatIsOpenAndRefusesInAnyModeButWriting) {
   const kit::TempDir dir;
   for (const int32_t mode : {0, 1, 3, -1}) {
      WavFileWriter file;
      ASSERT_TRUE(file.Open(dir / "first", WavFileWriter::kWriteMode));
      EXPECT_FALSE(file.Open(dir / "second", mode));
      EXPECT_FALSE(file.IsOpen());
      EXPECT_FALSE(file.WriteU16(1));
   }
   EXPECT_EQ(kit::ReadFile(dir / "first"), "");
   EXPECT_EQ(std::fopen((dir / "second").c_str(), "rb"), nullptr);
}

TEST(WavFileWriter, ClosesTheFirstFileForTheSecond) {
   const kit::TempDir dir;
   WavFileWriter file;
   ASSERT_TRUE(file.Open(dir / "first", WavFileWriter::kWriteMode));
   ASSERT_TRUE(file.Open(dir / "second", WavFileWriter::kWriteMode));
   EXPECT_TRUE(file.WriteBytes("ab", 2));
   EXPECT_EQ(kit::ReadFile(dir / "first"), "");
   EXPECT_EQ(kit::ReadFile(dir / "second"), "ab");
   EXPECT_FALSE(file.Open(dir.Path(), WavFileWriter::kWriteMode));
   EXPECT_FALSE(file.IsOpen());
}

TEST(WavFileWriter, RefusesEverythingWithoutAFile) {
   WavFileWriter file;
   EXPECT_FALSE(file.WriteHeader(8000, 1));
   EXPECT_FALSE(file.WriteU32(1));
   EXPECT_FALSE(file.WriteBytes("a", 1));
   file.Close();
}

TEST(WavFileWriter, SeesAFullDiskAnywhereInTheHeader) {
   const kit::TempDir dir;
   std::signal(SIGXFSZ, SIG_IGN);
   for (rlim_t room = 0; room <= 44; ++room) {
      WavFileWriter file;
      ASSERT_TRUE(file.Open(dir / "wav", WavFileWriter::kWriteMode));
      const rlimit limit{room, RLIM_INFINITY};
      ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
      EXPECT_EQ(file.WriteHeader(8000, 1), room == 44) << room;
   }
}

TEST(WavFileWriter, IsReadBySoxUpToTheEndOfTheFile) {
   const kit::TempDir dir;
   const std::string path = dir / "stereo.wav";
   std::string samples;
   for (int i = 0; i < 960; ++i) {
      samples += static_cast<char>(i);
   }
   WavFileWriter file;
   ASSERT_TRUE(file.Open(path, WavFileWriter::kWriteMode));
   ASSERT_TRUE(file.WriteHeader(48000, 2));
   ASSERT_TRUE(file.WriteBytes(samples.data(), samples.size()));
   file.Close();
   EXPECT_EQ(OutputOf("soxi -r " + path), "48000\n");
   EXPECT_EQ(OutputOf("soxi -c " + path), "2\n");
   EXPECT_EQ(OutputOf("soxi -b " + path), "16\n");
   EXPECT_EQ(OutputOf("soxi -e " + path), "Signed Integer PCM\n");
   EXPECT_EQ(OutputOf("sox -D " + path + " -t raw - 2>/dev/null"), samples);
}

} // namespace
