#include "libs/avManager/AudioCaptureTestKit.h"

#include "lib/mfw/common/logger.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

// A dump file in the microphone's place.

namespace {

constexpr const char *kOpenRec = "bool AudioCaptureMac::OpenRec(std::string &, DWORD, DWORD, SyncMediaClock *, HANDLE)";
constexpr const char *kFromFile = "bool AudioCaptureMac::CopyAudioFromFile()";

class AudioCaptureFileTest : public AudioCaptureTest {
protected:
   AudioCaptureFileTest() {
      settings.Set("DebugImportAudioEnable", true);
      settings.SetText("DebugImportAudioFilename", mPath);
      time.SetJumping(false);
   }

   // A dump of so many chunks; all bytes of one are its number.
   void WriteDump(int chunks, uint32_t chunkSize = kChunkSize) {
      AVSampleHandler file;
      ASSERT_TRUE(file.InitWrite(kMediaAudio, mPath, MediaFileHeader::ForAudio(chunkSize)));
      const SampleMeta meta{77, 1};
      for (int i = 0; i < chunks; ++i) {
         ASSERT_TRUE(file.WriteSample(std::string(chunkSize, static_cast<char>('a' + i)).data(), chunkSize, &meta));
      }
   }
   // The service thread has read a chunk and sleeps for its length.
   void AwaitPace() {
      while (time.NextDeadlineNs() == osal::Clock::kNoDeadline) {
         std::this_thread::yield();
      }
   }
   // One chunk's time goes by; the next chunk is being paced.
   void Pass() {
      AwaitPace();
      const auto chunks = mCapture->Facts().chunks;
      time.AdvanceMs(kChunkMS);
      while (mCapture->Facts().chunks == chunks) {
         std::this_thread::yield();
      }
   }
   // The thread has nothing to do but wait.
   void AwaitIdle() {
      time.AwaitSleepers(1);
      while (time.NextDeadlineNs() != osal::Clock::kNoDeadline || time.Sleepers() == 0) {
         std::this_thread::yield();
      }
   }
   bool Close() {
      time.SetJumping(true);
      const bool wasRecording = mCapture->Close();
      time.SetJumping(false);
      return wasRecording;
   }

   const std::string mPath = folder / "sound.dump";
   std::unique_ptr<AudioCaptureMac> mCapture = std::make_unique<AudioCaptureMac>();
};

TEST_F(AudioCaptureFileTest, GivesOneChunkForEachChunksLength) {
   WriteDump(3);
   const uint32_t start = Now();
   ASSERT_TRUE(mCapture->Open(prefs, &clock)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - AudioIn data captured from file: %s", kOpenRec, mPath.c_str()))
      << log.Dump();
   EXPECT_TRUE(platform.calls.empty()) << "no microphone is opened";
   EXPECT_TRUE(mCapture->Facts().isFile);
   AwaitPace();
   EXPECT_FALSE(mCapture->IsDataAvailable()) << "not before its time";
   for (uint32_t i = 0; i < 7; ++i) {
      Pass();
      AwaitPace(); // the signal is out
      EXPECT_TRUE(WasSignalled());
      const std::vector<Chunk> chunks = Take(*mCapture);
      ASSERT_EQ(chunks.size(), 1U) << i;
      EXPECT_EQ(chunks[0].bytes, std::string(kChunkSize, static_cast<char>('a' + i % 3))) << "in a loop";
      EXPECT_EQ(chunks[0].meta.mTimeMS, start + i * kChunkMS) << "stamped when it was read";
   }
   EXPECT_FALSE(Close()) << "Required: no microphone was captured from";
   EXPECT_FALSE(mCapture->Facts().isFile);
}

TEST_F(AudioCaptureFileTest, AnotherChunkSizeIsDroppedAndTheMicrophoneOpened) {
   WriteDump(1, kChunkSize / 2);
   ASSERT_TRUE(mCapture->Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::ERROR,
                       "%s - AudioIn DataSource mismatch with user prefs. Debug AudioIn Read params are ignored",
                       kOpenRec))
      << log.Dump();
   EXPECT_EQ(platform.calls.back(), "startRunning");
   EXPECT_TRUE(Close());
}

TEST_F(AudioCaptureFileTest, AFileThatIsNotThereIsToldAndTheMicrophoneOpened) {
   ASSERT_TRUE(mCapture->Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - AudioIn DebugPrefs enabled. Debug DataSource error", kOpenRec))
      << log.Dump();
   EXPECT_TRUE(Close());
}

TEST_F(AudioCaptureFileTest, RequiredAFileWithABadHeaderStaysTheSourceAndGivesNothing) {
   kit::WriteFile(mPath, std::string(1000, 'x'));
   ASSERT_TRUE(mCapture->Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - AudioIn DebugPrefs enabled. Debug DataSource error", kOpenRec));
   EXPECT_TRUE(platform.calls.empty());
   AwaitPace();
   EXPECT_EQ(log.Count(logger::ERROR, "%s - AudioIn sample capture from file failed", kFromFile), 1) << log.Dump();
   time.AdvanceMs(kChunkMS);
   AwaitIdle();
   time.AdvanceMs(1000);
   EXPECT_FALSE(mCapture->IsDataAvailable());
   EXPECT_EQ(log.Count(logger::ERROR, "%s - AudioIn sample capture from file failed", kFromFile), 1);
   EXPECT_FALSE(mCapture->OpenRec("", kChunkMS, 4, &clock, nullptr)) << "it counts as open";
   EXPECT_FALSE(Close());
   settings.Set("DebugImportAudioEnable", false);
   EXPECT_TRUE(mCapture->Open(prefs, &clock)) << "only a close ends it";
   EXPECT_TRUE(Close());
}

TEST_F(AudioCaptureFileTest, RequiredAFullQueueEndsTheFileUntilTheNextOpen) {
   WriteDump(5);
   prefs.mQueueBuffers = 2;
   ASSERT_TRUE(mCapture->Open(prefs, &clock));
   Pass();
   Pass();
   AwaitIdle();
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Error retrieving write buffer. Audio data not copied", kFromFile))
      << log.Dump();
   EXPECT_EQ(Take(*mCapture).size(), 2U);
   time.AdvanceMs(1000);
   EXPECT_FALSE(mCapture->IsDataAvailable());
   EXPECT_FALSE(Close());
   ASSERT_TRUE(mCapture->Open(prefs, &clock));
   Pass();
   EXPECT_EQ(Take(*mCapture)[0].bytes, std::string(kChunkSize, 'a')) << "from the start";
   EXPECT_FALSE(Close());
}

TEST_F(AudioCaptureFileTest, CloseWhileItPlaysDoesNotWaitForThePaceAndItPlaysAgain) {
   WriteDump(3);
   for (int i = 0; i < 20; ++i) {
      ASSERT_TRUE(mCapture->Open(prefs, &clock));
      Pass();
      AwaitPace();
      const uint64_t before = time.monotonicNs();
      EXPECT_FALSE(mCapture->Close()) << "nobody moves the time";
      EXPECT_EQ(time.monotonicNs(), before);
      EXPECT_EQ(time.Sleepers(), 0U) << "the thread is gone";
      const std::vector<Chunk> left = Take(*mCapture);
      ASSERT_EQ(left.size(), 2U) << "the one that was being paced too";
      EXPECT_EQ(left[1].bytes, std::string(kChunkSize, 'b'));
   }
}

TEST_F(AudioCaptureFileTest, DestroyedWhileItPlays) {
   WriteDump(3);
   ASSERT_TRUE(mCapture->Open(prefs, &clock));
   AwaitPace();
   mCapture.reset();
   EXPECT_EQ(time.Sleepers(), 0U);
}

TEST_F(AudioCaptureFileTest, DestroyedWhileItsThreadWaits) {
   WriteDump(3);
   prefs.mQueueBuffers = 2;
   ASSERT_TRUE(mCapture->Open(prefs, &clock));
   Pass();
   Pass();
   AwaitIdle();
   time.SetJumping(true);
   mCapture.reset();
   EXPECT_EQ(time.Sleepers(), 0U);
}

TEST_F(AudioCaptureFileTest, AMicrophoneFollowsAFileAndAFileAMicrophone) {
   WriteDump(3);
   for (int i = 0; i < 3; ++i) {
      settings.Set("DebugImportAudioEnable", true);
      ASSERT_TRUE(mCapture->Open(prefs, &clock));
      Pass();
      EXPECT_FALSE(Close());
      settings.Set("DebugImportAudioEnable", false);
      ASSERT_TRUE(mCapture->Open(prefs, &clock));
      Deliver(kChunkSize);
      EXPECT_EQ(Take(*mCapture).size(), 1U);
      EXPECT_TRUE(Close());
   }
}

} // namespace
