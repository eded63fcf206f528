#include "libs/avManager/AudioCaptureTestKit.h"

#include "libs/avManager/AVCapture.h"
#include "libs/avManager/AVCaptureFunctions.h"

#include "lib/mfw/common/logger.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

namespace {

using AudioCaptureMacTest = AudioCaptureTest;

constexpr const char *kOpenRec = "bool AudioCaptureMac::OpenRec(std::string &, DWORD, DWORD, SyncMediaClock *, HANDLE)";
constexpr const char *kClose = "virtual bool AudioCaptureMac::Close()";
constexpr const char *kPrefDev =
   "bool AudioCaptureMac::GetWaveIdForPrefDev(std::string &, MMDev::DeviceInfo &, uint32_t &)";
constexpr const char *kWhole = "bool AudioCaptureMac::CopyRecordedData(const char **, size_t)";
constexpr const char *kTwoPart = "bool AudioCaptureMac::CopyRecordedData(const char **, size_t, const char *, size_t)";
constexpr const char *kChunker = "void getAudioDataFromCMSampleBufferRef(void *, CMSampleBufferRef)";

// ---- Open -----------------------------------------------------------------------------------------------------------

TEST_F(AudioCaptureMacTest, OpensTheDefaultMicrophoneAndCloses) {
   auto capture = std::make_unique<AudioCaptureMac>();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s", "AudioCaptureMac::AudioCaptureMac()"));
   EXPECT_EQ(capture->Facts().chunkSize, 0U);
   ASSERT_TRUE(capture->Open(prefs, &clock)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - ", "void AVCaptureAudioSetPCMFormat(void *, int, int, int)"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - ", "int AVCaptureAudioGetReqdBufSize(void *, int)"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s", kOpenRec));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Total Devices: %d.  Using the default source device", kOpenRec, 2))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - AVFoundation audio intitialized", kOpenRec));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - WaveIn Audio capture thread started", "bool AudioCaptureMac::StartRec()"));
   EXPECT_EQ(log.Count(logger::DEBUG, "%s - Preferred audio device not found. UserId=%s", kOpenRec, ""), 0);
   EXPECT_EQ(platform.audioSettings, (osal::AudioSettings{osal::FourCC("lpcm"), 48000, 1, 16, false, false}));
   EXPECT_EQ(capture->Facts().chunkSize, kChunkSize);
   EXPECT_EQ(capture->Facts().deviceIndex, -1);
   EXPECT_FALSE(capture->Facts().isFile);

   EXPECT_TRUE(capture->Close());
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s", kClose));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - AVCapture audio capture closed", kClose)) << log.Dump();
   EXPECT_FALSE(capture->Close()) << "not open";
   EXPECT_EQ(log.Count(logger::TRACE, "%s - AVCapture audio capture closed", kClose), 1);
   capture.reset();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s", "virtual AudioCaptureMac::~AudioCaptureMac()"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - AVCapture dealloc", "-[AVCapture dealloc]"));
}

TEST_F(AudioCaptureMacTest, ARateOf0HasNoChunkSize) {
   AudioCaptureMac capture;
   prefs.mSampleRate = 0;
   EXPECT_FALSE(capture.Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - ", "-[AVCapture audioGetReqdBufSize:]")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Buffer size calculation error", kOpenRec)) << log.Dump();
   for (const uint32_t rate : {7999U, 0xFFFFFFFFU}) {
      prefs.mSampleRate = rate;
      EXPECT_FALSE(capture.Open(prefs, &clock)) << rate;
   }
   prefs.mSampleRate = 48000;
   for (const uint32_t chunkMS : {0U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
      prefs.mChunkMS = chunkMS;
      EXPECT_FALSE(capture.Open(prefs, &clock)) << chunkMS;
   }
   EXPECT_EQ(log.Count(logger::ERROR, "%s - Buffer size calculation error", kOpenRec), 7);
   EXPECT_TRUE(platform.calls.empty());
}

TEST_F(AudioCaptureMacTest, WithoutAClockThereIsNoOpen) {
   AudioCaptureMac capture;
   EXPECT_FALSE(capture.Open(prefs, nullptr));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - AudioCaptureMac is missing Sync Clock ref", kOpenRec)) << log.Dump();
}

TEST_F(AudioCaptureMacTest, ASecondOpenWithoutACloseIsRefused) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   EXPECT_FALSE(capture.Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - AudioCaptureMac already opened!", kOpenRec)) << log.Dump();
   Deliver(kChunkSize);
   EXPECT_TRUE(capture.IsDataAvailable()) << "and the first goes on";
   EXPECT_TRUE(capture.Close());
}

TEST_F(AudioCaptureMacTest, AQueueThatCannotBeIsRefused) {
   AudioCaptureMac capture;
   for (const uint32_t slots : {0U, 1U, 0x80000000U, 0xFFFFFFFFU}) {
      prefs.mQueueBuffers = slots;
      EXPECT_FALSE(capture.Open(prefs, &clock)) << slots;
   }
   EXPECT_EQ(log.Count(logger::ERROR, "%s - DataBufferQueue Init for Output failed!", kOpenRec), 4) << log.Dump();
   prefs.mQueueBuffers = 2;
   EXPECT_TRUE(capture.Open(prefs, &clock));
   capture.Close();
}

TEST_F(AudioCaptureMacTest, AMicrophoneThatDoesNotStartIsRefusedAndTheNextTryWorks) {
   AudioCaptureMac capture;
   platform.startStatus = osal::Status::Error(16, "busy");
   EXPECT_FALSE(capture.Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Capture session failed to start: %s",
                       "-[AVCaptureMac startCapturingAudio:]", "busy"))
      << log.Dump();
   EXPECT_FALSE(capture.IsDataAvailable());
   platform.startStatus = osal::Status::Ok();
   EXPECT_TRUE(capture.Open(prefs, &clock)) << log.Dump();
   capture.Close();
}

TEST_F(AudioCaptureMacTest, RequiredARefusedMicrophoneLeavesTheQueueWithWhatItGave) {
   AudioCaptureMac capture;
   platform.startStatus = osal::Status::Error(16, "busy");
   platform.atStart = [this] {
      Deliver(kChunkSize);
   };
   EXPECT_FALSE(capture.Open(prefs, &clock));
   EXPECT_FALSE(WasSignalled());
   EXPECT_EQ(Take(capture).size(), 1U);
   EXPECT_FALSE(capture.Close());
}

TEST_F(AudioCaptureMacTest, TheServiceThreadHasItsName) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   EXPECT_TRUE(capture.Close());
   EXPECT_NE(log.Dump().find("Thread started. Name=AudioCaptureMac. Id="), std::string::npos) << log.Dump();
}

TEST_F(AudioCaptureMacTest, TheSampleSizeIsAssertedAndChannelsAreCut) {
   AudioCaptureMac capture;
   EXPECT_DEATH(capture.SetPCMFormat(48000, 24, 1), "bitsPerSample == AudioBase::BPS_16K");
   capture.SetPCMFormat(48000, 16, 0x10002);
   ASSERT_TRUE(capture.OpenRec("", kChunkMS, 4, &clock, nullptr));
   EXPECT_EQ(platform.audioSettings.channels, 2);
   EXPECT_EQ(capture.Facts().chunkSize, 2 * kChunkSize);
   capture.Close();
}

// ---- Which microphone -----------------------------------------------------------------------------------------------

TEST_F(AudioCaptureMacTest, ThePreferredMicrophoneIsOpenedByItsSystemId) {
   AudioCaptureMac capture;
   platform.microphone = kit::FakeCaptureDevice("Room", "mic-2");
   prefs.mUserId = "Room#mic-2";
   ASSERT_TRUE(capture.Open(prefs, &clock)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Preferred device found.  Index=%u  UserId=%s  Name=%s", kPrefDev, 1U,
                       "Room#mic-2", "Room"));
   EXPECT_TRUE(log.Saw(logger::DEBUG,
                       "%s - Total Devices: %d.  Using AVFoundation device: Name=%s.  SystemId=%s  UserId=%s", kOpenRec,
                       2, "Room", "mic-2", "Room#mic-2"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - deviceID='%s'", "-[AVCaptureMac startCapturingAudio:]", "mic-2"));
   EXPECT_EQ(capture.Facts().deviceIndex, 1);
   capture.Close();
}

TEST_F(AudioCaptureMacTest, AnIdOfTwoPartsMatchesByItsFirst) {
   AudioCaptureMac capture;
   platform.microphone = kit::FakeCaptureDevice("Room", "mic-2");
   prefs.mUserId = "Room#another";
   ASSERT_TRUE(capture.Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::DEBUG,
                       "%s - Partial match found for Preferred Device[UserId=%s].  Index=%u  UserId=%s  Name=%s",
                       kPrefDev, "Room#another", 1U, "Room#mic-2", "Room"))
      << log.Dump();
   capture.Close();
}

TEST_F(AudioCaptureMacTest, APreferredMicrophoneThatIsGoneFallsBackToTheDefaultOne) {
   AudioCaptureMac capture;
   prefs.mUserId = "Gone#x";
   ASSERT_TRUE(capture.Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Preferred Device not found. UserId=%s", kPrefDev, "Gone#x"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Preferred audio device not found. UserId=%s", kOpenRec, "Gone#x"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Audio device not specified, selecting default audio source",
                       "-[AVCaptureMac startCapturingAudio:]"));
   capture.Close();
}

TEST_F(AudioCaptureMacTest, TheListIsTheOneThatWasEnumeratedLast) {
   devices.microphones.clear();
   AudioInputDevices::List(AudioInputDevices::CachedList());
   devices.microphones = {{"Desk", "mic-1"}};
   AudioCaptureMac capture;
   prefs.mUserId = "Desk#mic-1";
   ASSERT_TRUE(capture.Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - No audio source device found", kPrefDev)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Total Devices: %d.  Using the default source device", kOpenRec, 0));
   capture.Close();
   MMDev::DeviceInfo info;
   uint32_t count = 7;
   AudioInputDevices::List(AudioInputDevices::CachedList());
   EXPECT_FALSE(AudioCaptureMac::GetWaveIdForPrefDev("", info, count));
   EXPECT_EQ(count, 1U);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Preferred Device not found. UserId=%s", kPrefDev, ""));
}

// ---- Chunks ---------------------------------------------------------------------------------------------------------

TEST_F(AudioCaptureMacTest, DeliveriesComeOutAsChunksAndTheClientIsTold) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   Deliver(1000);
   EXPECT_FALSE(capture.IsDataAvailable());
   EXPECT_FALSE(WasSignalled());
   Deliver(5000);
   EXPECT_TRUE(WasSignalled());
   EXPECT_EQ(capture.Facts().queuedChunks, 3);
   const std::vector<Chunk> chunks = Take(capture);
   ASSERT_EQ(chunks.size(), 3U);
   for (size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(chunks[i].bytes, Bytes(i * kChunkSize, kChunkSize));
   }
   EXPECT_EQ(capture.Facts().chunks, 3U);
   EXPECT_EQ(capture.Facts().lostChunks, 0U);
   capture.Close();
}

TEST_F(AudioCaptureMacTest, AChunkStaysTheReadersUntilItIsReleased) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   MediaData data;
   EXPECT_FALSE(capture.GetData(data));
   EXPECT_EQ(data.mData, nullptr);
   capture.ReleaseData();
   Deliver(2 * kChunkSize);
   MediaData again;
   ASSERT_TRUE(capture.GetData(data));
   ASSERT_TRUE(capture.GetData(again));
   EXPECT_EQ(data.mData, again.mData);
   capture.ReleaseData();
   ASSERT_TRUE(capture.GetData(again));
   EXPECT_NE(data.mData, again.mData);
   capture.ReleaseData();
   EXPECT_FALSE(capture.IsDataAvailable());
   capture.Close();
}

// A chunk is stamped with its beginning: the time of the delivery less its own length.
TEST_F(AudioCaptureMacTest, RequiredTheChunkThatClosesAPartialOneIsStampedAtItsEndAndTheOthersWithTheKeptTime) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   time.AdvanceMs(1000);
   const uint32_t begun = Now();
   Deliver(1000);
   time.AdvanceMs(7);
   const uint32_t closed = Now();
   Deliver(5000);
   const std::vector<Chunk> chunks = Take(capture);
   ASSERT_EQ(chunks.size(), 3U);
   EXPECT_EQ(chunks[0].meta.mTimeMS, closed - kChunkMS);
   EXPECT_EQ(chunks[1].meta.mTimeMS, begun - kChunkMS);
   EXPECT_EQ(chunks[2].meta.mTimeMS, begun - kChunkMS);
   time.AdvanceMs(5);
   Deliver(2 * kChunkSize);
   const std::vector<Chunk> later = Take(capture);
   ASSERT_EQ(later.size(), 2U);
   EXPECT_EQ(later[0].meta.mTimeMS, Now() - kChunkMS);
   EXPECT_EQ(later[1].meta.mTimeMS, begun - kChunkMS) << "no delivery since began with nothing kept back";
   capture.Close();
}

TEST_F(AudioCaptureMacTest, ADeliveryOfNothingRenewsTheKeptTime) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   time.AdvanceMs(100);
   Deliver(0);
   const uint32_t kept = Now();
   time.AdvanceMs(50);
   const char *cursor = nullptr;
   const std::string bytes(kChunkSize, 'x');
   cursor = bytes.data();
   ASSERT_TRUE(AVCapture_ACM_CopyRecordedData(&capture, &cursor, kChunkSize, nullptr, 0));
   EXPECT_EQ(cursor, bytes.data() + kChunkSize);
   EXPECT_EQ(Take(capture)[0].meta.mTimeMS, kept - kChunkMS);
   capture.Close();
}

TEST_F(AudioCaptureMacTest, TimesBeforeTheFirstChunksLengthWrap) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   SyncMediaClock::Reset();
   const uint32_t now = Now();
   Deliver(kChunkSize);
   EXPECT_EQ(Take(capture)[0].meta.mTimeMS, now - kChunkMS) << "in 32 bits";
   capture.Close();
}

TEST_F(AudioCaptureMacTest, AFullQueueLosesWholeChunksAndSaysWhich) {
   prefs.mQueueBuffers = 2;
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   Deliver(2 * kChunkSize);
   (void)WasSignalled();
   Deliver(3 * kChunkSize);
   EXPECT_FALSE(WasSignalled());
   EXPECT_EQ(log.Count(logger::ERROR, "%s - buffer is full!", "GetNextWriteBuf"), 3);
   EXPECT_EQ(log.Count(logger::DEBUG, "%s - Data lost due to buffer not available: %u bytes", kWhole, kChunkSize), 3)
      << log.Dump();
   for (int number = 1; number <= 3; ++number) {
      EXPECT_TRUE(log.Saw(logger::TRACE, "%s - MAVR audio buffer full, dropping chunk %d", kChunker, number));
   }
   EXPECT_EQ(capture.Facts().lostChunks, 3U);
   Deliver(500);
   Deliver(kChunkSize);
   EXPECT_EQ(log.Count(logger::DEBUG, "%s - Data lost due to buffer not available: %u bytes", kTwoPart, kChunkSize), 1)
      << log.Dump();
   EXPECT_EQ(Take(capture).size(), 2U);
   Deliver(kChunkSize);
   EXPECT_EQ(Take(capture)[0].bytes, Bytes(6 * kChunkSize, kChunkSize)) << "the stream has gone on";
   capture.Close();
}

TEST_F(AudioCaptureMacTest, AReaderThatStallsFor10SecondsFindsTheSlotsFullAndThenWhatIsNew) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   constexpr size_t kStalled = 10000 / kChunkMS;
   const auto pass = [&] {
      time.AdvanceMs(kChunkMS);
      Deliver(kChunkSize);
   };
   for (size_t i = 0; i < kStalled; ++i) {
      pass();
   }
   EXPECT_EQ(capture.Facts().lostChunks, kStalled - 10);
   const std::vector<Chunk> backlog = Take(capture);
   ASSERT_EQ(backlog.size(), 10U) << "what waits is no more than slots times chunk length";
   EXPECT_EQ(backlog.back().meta.mTimeMS - backlog.front().meta.mTimeMS, 9 * kChunkMS);
   EXPECT_TRUE(WasSignalled());
   pass();
   EXPECT_TRUE(WasSignalled());
   const std::vector<Chunk> live = Take(capture);
   ASSERT_EQ(live.size(), 1U);
   EXPECT_EQ(live[0].meta.mTimeMS, Now() - kChunkMS) << "and the next is of now";
   EXPECT_EQ(live[0].bytes, Bytes(kStalled * kChunkSize, kChunkSize));
   capture.Close();
}

TEST_F(AudioCaptureMacTest, RequiredADeliveryWithoutDataCutsNothing) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   auto *const sound = new kit::FakeSound(std::string(kChunkSize, 'x'));
   sound->pointerStatus = -12704;
   platform.DeliverSound(osal::Ref<osal::SampleBuffer>::adopt(sound));
   platform.DeliverSound(osal::Ref<osal::SampleBuffer>::adopt(new kit::FakeFrame(8, 4)));
   EXPECT_FALSE(capture.IsDataAvailable());
   capture.Close();
}

TEST_F(AudioCaptureMacTest, AChunkOfAnotherSizeIsAFault) {
   AudioCaptureMac capture;
   capture.SetPCMFormat(48000, 16, 1);
   ASSERT_TRUE(capture.OpenRec("", kChunkMS, 4, &clock, nullptr));
   const std::string bytes(kChunkSize, 'x');
   const char *cursor = bytes.data();
   EXPECT_DEATH((void)capture.CopyRecordedData(&cursor, 100), "bytes == mWavDataChunk");
   EXPECT_DEATH((void)capture.CopyRecordedData(&cursor, 100, cursor, 100), "\\(dbytes \\+ cbytes\\) == mWavDataChunk");
   EXPECT_DEATH(AVCapture_ACM_TimestampCache(nullptr), "obj");
   EXPECT_DEATH((void)AVCapture_ACM_CopyRecordedData(nullptr, &cursor, 100, nullptr, 0), "obj");
   EXPECT_DEATH(AVCapture_ACM_SendNotifs(nullptr), "obj");
   capture.Close();
}

TEST_F(AudioCaptureMacTest, AClientWithoutAnEventIsNotWoken) {
   prefs.mDataEvent = nullptr;
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   Deliver(kChunkSize);
   EXPECT_TRUE(capture.IsDataAvailable());
   capture.Close();
}

TEST_F(AudioCaptureMacTest, AChunkThatComesBeforeOpenIsThroughWakesTheClientAllTheSame) {
   AudioCaptureMac capture;
   platform.atStart = [this] {
      Deliver(kChunkSize);
   };
   ASSERT_TRUE(capture.Open(prefs, &clock));
   EXPECT_TRUE(WasSignalled());
   EXPECT_EQ(Take(capture).size(), 1U);
   capture.Close();
}

// ---- Close ----------------------------------------------------------------------------------------------------------

TEST_F(AudioCaptureMacTest, CloseGivesADeliveryInFlightTwoChunksTime) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   const uint64_t before = time.monotonicNs();
   EXPECT_TRUE(capture.Close());
   EXPECT_EQ(time.monotonicNs() - before, 2 * kChunkMS * 1'000'000ULL);
}

TEST_F(AudioCaptureMacTest, NoChunkIsSoLongThatCloseWaitsForMoreThanTwoSeconds) {
   AudioCaptureMac capture;
   prefs.mChunkMS = 60000;
   prefs.mQueueBuffers = 2;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   const uint64_t before = time.monotonicNs();
   EXPECT_TRUE(capture.Close());
   EXPECT_EQ(time.monotonicNs() - before, 2'000'000'000ULL);
}

TEST_F(AudioCaptureMacTest, ADeliveryDuringCloseWakesCloseAlone) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   platform.atRemoveOutput = [this] {
      Deliver(kChunkSize);
   };
   const uint64_t before = time.monotonicNs();
   EXPECT_TRUE(capture.Close());
   EXPECT_EQ(time.monotonicNs(), before) << "no wait";
   EXPECT_FALSE(WasSignalled());
   EXPECT_EQ(Take(capture).size(), 1U) << "and the chunk can be read";
}

TEST_F(AudioCaptureMacTest, AfterCloseANewOpenStartsClean) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   Deliver(kChunkSize + 100);
   EXPECT_TRUE(capture.Close());
   prefs.mChunkMS = 10;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   EXPECT_FALSE(capture.IsDataAvailable());
   EXPECT_EQ(capture.Facts().chunks, 0U);
   Deliver(960);
   EXPECT_EQ(Take(capture)[0].bytes, Bytes(kChunkSize + 100, 960)) << "the rest of before is gone";
   EXPECT_TRUE(capture.Close());
}

TEST_F(AudioCaptureMacTest, AnOwnerThatForgetsToCloseLosesNothingElse) {
   {
      AudioCaptureMac capture;
      ASSERT_TRUE(capture.Open(prefs, &clock));
      Deliver(kChunkSize);
   }
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - AVCapture audio capture closed", kClose)) << log.Dump();
   EXPECT_EQ(platform.calls.back(), "stopRunning");
}

TEST_F(AudioCaptureMacTest, FactsTellOfTheMicrophonesHealth) {
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   EXPECT_TRUE(capture.Facts().health.ok());
   platform.sessionHealth = osal::Status::Error(19, "unplugged");
   EXPECT_EQ(capture.Facts().health.reason, "unplugged");
   capture.Close();
}

// ---- Dumps ----------------------------------------------------------------------------------------------------------

TEST_F(AudioCaptureMacTest, WhatTheReaderTakesIsDumped) {
   settings.Set("DebugExportAudioEnable", true);
   settings.SetText("DebugExportAudioFileName", folder / "sound.dump");
   settings.SetText("DebugExportAudioPcmFilename", folder / "sound.wav");
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   Deliver(3 * kChunkSize);
   MediaData data;
   for (int i = 0; i < 2; ++i) {
      ASSERT_TRUE(capture.GetData(data));
      capture.ReleaseData();
   }
   capture.Close();

   EXPECT_EQ(kit::ReadFile(folder / "sound.wav"), std::string("RIFF\xFF\xFF\xFF\x7FWAVEfmt \x10\0\0\0\x01\0\x01\0"
                                                              "\x80\xBB\0\0\0\x77\x01\0\x02\0\x10\0"
                                                              "data\xFF\xFF\xFF\x7F",
                                                              44) +
                                                     Bytes(0, 2 * kChunkSize));
   AVSampleHandler file;
   MediaFileHeader header{};
   ASSERT_TRUE(file.InitRead(kMediaAudio, folder / "sound.dump", header));
   EXPECT_EQ(header.SampleSize(kMediaAudio), kChunkSize);
   MediaSampleRecord record;
   for (size_t i = 0; i < 2; ++i) {
      ASSERT_TRUE(file.ReadSample(record));
      EXPECT_EQ(record.mHeader.mSequence, i);
      EXPECT_EQ(record.mHeader.mMeta.mValid, 1U);
      EXPECT_EQ(std::string(reinterpret_cast<const char *>(record.mData), kChunkSize),
                Bytes(i * kChunkSize, kChunkSize));
   }
   EXPECT_FALSE(file.ReadSample(record)) << "the third was not taken";
}

TEST_F(AudioCaptureMacTest, ADumpThatCannotBeMadeStopsNothing) {
   const std::string path = folder / "none/sound";
   settings.Set("DebugExportAudioEnable", true);
   settings.SetText("DebugExportAudioFileName", path);
   settings.SetText("DebugExportAudioPcmFilename", path);
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to write the PCM dump: %s", kOpenRec, path.c_str())) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to open file for writing: %s",
                       "bool DataFileHandler::InitWriteF(std::string &)", path.c_str()))
      << log.Dump();
   Deliver(kChunkSize);
   EXPECT_EQ(Take(capture).size(), 1U);
   EXPECT_TRUE(capture.Close());
}

TEST_F(AudioCaptureMacTest, ADumpThatFindsTheDiskFullStopsNothingAndIsDroppedWithoutALineForEachChunk) {
   settings.Set("DebugExportAudioEnable", true);
   settings.SetText("DebugExportAudioFileName", folder / "sound.dump");
   std::signal(SIGXFSZ, SIG_IGN);
   const rlimit header{100, RLIM_INFINITY};
   ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &header), 0);
   AudioCaptureMac capture;
   ASSERT_TRUE(capture.Open(prefs, &clock));
   const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
   ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
   Deliver(3 * kChunkSize);
   EXPECT_EQ(Take(capture).size(), 3U);
   EXPECT_EQ(log.Count(logger::ERROR, "Frame size mismatch!"), 0) << log.Dump();
   EXPECT_TRUE(capture.Close());
}

} // namespace
