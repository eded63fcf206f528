#include "libs/common/DevicePrefs.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace {

TEST(DevicePrefs, DefaultsAreThoseOfASilentStream) {
   const DevicePrefs prefs;
   EXPECT_EQ(prefs.Codec, 0u);
   EXPECT_EQ(prefs.Audio.FrameLenMS + prefs.Audio.FrameUnitCount + prefs.Audio.QLen, 0u);
   EXPECT_EQ(prefs.Audio.BitsPerSample, 16u);
   EXPECT_EQ(prefs.Audio.Channels, 1u);
   EXPECT_EQ(prefs.Audio.InputStreams, 1u);
   EXPECT_EQ(prefs.Audio.FramesPerPacket, 1u);
   EXPECT_EQ(prefs.Audio.SamplePerSec, 8000u);
   EXPECT_EQ(prefs.Audio.SecondRate, 8000u);
   EXPECT_EQ(prefs.Video.Width + prefs.Video.Height + prefs.Video.FrameRate + prefs.Video.PauseMS + prefs.Video.QLen,
             0u);
   const char zeros[512] = {};
   for (const char *text : {prefs.Audio.DeviceId, prefs.Audio.DeviceName, prefs.Audio.FurtherText, prefs.Video.DeviceId,
                            prefs.Video.DeviceName, prefs.Video.FurtherText}) {
      EXPECT_EQ(std::memcmp(text, zeros, sizeof zeros), 0);
   }
}

TEST(DevicePrefs, RequiredACopyLeavesTheSecondRateAlone) {
   DevicePrefs original;
   original.Codec = 12;
   std::memset(original.Audio.DeviceId, 'i', 512);
   std::memset(original.Audio.DeviceName, 'n', 512);
   std::memset(original.Audio.FurtherText, 'f', 512);
   original.Audio.FrameLenMS = 1;
   original.Audio.FrameUnitCount = 2;
   original.Audio.QLen = 3;
   original.Audio.BitsPerSample = 4;
   original.Audio.Channels = 5;
   original.Audio.InputStreams = 6;
   original.Audio.FramesPerPacket = 7;
   original.Audio.SamplePerSec = 8;
   original.Audio.SecondRate = 9;
   std::memset(original.Video.FurtherText, 'v', 512);
   original.Video.QLen = 10;
   const DevicePrefs copy(original);
   EXPECT_EQ(copy.Audio.SecondRate, 8000u);
   EXPECT_EQ(std::memcmp(&copy.Audio, &original.Audio, 1568), 0) << "everything before it is copied";
   EXPECT_EQ(std::memcmp(&copy.Video, &original.Video, sizeof copy.Video), 0);
   EXPECT_EQ(copy.Codec, 12u);
   DevicePrefs assigned;
   assigned.Audio.SecondRate = 44100;
   assigned = original;
   EXPECT_EQ(assigned.Audio.SecondRate, 44100u);
   EXPECT_EQ(std::memcmp(&assigned.Audio, &original.Audio, 1568), 0);
   DevicePrefs &self = assigned;
   assigned = self;
   EXPECT_EQ(assigned.Audio.SecondRate, 44100u);
}

constexpr std::array<uint8_t, 136> NetworkExample() {
   std::array<uint8_t, 136> record{};
   record.fill(0xEE);
   const uint8_t head[36] = {0, 0,  0, 12, 0, 0, 0, 20, 0, 0, 0, 50, 0, 0, 0, 10, 0,    0,
                             0, 16, 0, 0,  0, 1, 0, 0,  0, 1, 0, 0,  0, 1, 0, 0,  0x1F, 0x40};
   const uint8_t tail[20] = {0, 0, 5, 0, 0, 0, 2, 0xD0, 0, 0, 0, 30, 1, 2, 3, 4, 0xFF, 0xFE, 0xFD, 0xFC};
   for (size_t i = 0; i < 36; ++i) {
      record[i] = head[i];
   }
   for (size_t i = 0; i < 20; ++i) {
      record[116 + i] = tail[i];
   }
   return record;
}

DevicePrefs ExamplePrefs() {
   DevicePrefs prefs;
   prefs.Codec = 12;
   prefs.Audio.FrameLenMS = 20;
   prefs.Audio.FrameUnitCount = 50;
   prefs.Audio.QLen = 10;
   prefs.Video.Width = 1280;
   prefs.Video.Height = 720;
   prefs.Video.FrameRate = 30;
   prefs.Video.PauseMS = 0x01020304;
   prefs.Video.QLen = 0xFFFEFDFC;
   return prefs;
}

TEST(DevicePrefs, NetworkFormIsBigEndianAtFixedPlaces) {
   std::array<uint8_t, 136> record{};
   record.fill(0xEE);
   DevicePrefsToNetwork(ExamplePrefs(), record);
   EXPECT_EQ(record, NetworkExample()) << "bytes 36 to 115 stay as they are";
}

TEST(DevicePrefs, NetworkFormIsReadBackAndTouchesNumbersOnly) {
   DevicePrefs prefs;
   std::memset(prefs.Audio.DeviceId, 'i', 512);
   prefs.Audio.SecondRate = 44100;
   prefs.Audio.SamplePerSec = 1;
   const DevicePrefs before(prefs);
   DevicePrefsFromNetwork(NetworkExample(), &prefs);
   const DevicePrefs wanted = ExamplePrefs();
   EXPECT_EQ(prefs.Codec, wanted.Codec);
   EXPECT_EQ(std::memcmp(&prefs.Audio.FrameLenMS, &wanted.Audio.FrameLenMS, 32), 0);
   EXPECT_EQ(std::memcmp(&prefs.Video, &wanted.Video, sizeof prefs.Video), 0);
   EXPECT_EQ(std::memcmp(prefs.Audio.DeviceId, before.Audio.DeviceId, 1024), 0);
   EXPECT_EQ(prefs.Audio.SecondRate, 44100u);
}

TEST(DevicePrefs, RangesIncludeTheirEnds) {
   EXPECT_TRUE(IsInRange(-5, -5, 5));
   EXPECT_TRUE(IsInRange(5, -5, 5));
   EXPECT_FALSE(IsInRange(-6, -5, 5));
   EXPECT_FALSE(IsInRange(6, -5, 5));
   EXPECT_TRUE(IsInRange(0xFFFFFFFFu, 1u, 0xFFFFFFFFu)) << "unsigned";
   EXPECT_FALSE(IsInRange(0u, 1u, 0xFFFFFFFFu));
   EXPECT_FALSE(IsInRange(3, 5, 1)) << "an empty range";
   EXPECT_TRUE(IsValidResolution(32));
   EXPECT_FALSE(IsValidResolution(31));
   EXPECT_TRUE(IsValidFrameRate(1));
   EXPECT_TRUE(IsValidFrameRate(30));
   EXPECT_FALSE(IsValidFrameRate(0));
   EXPECT_FALSE(IsValidFrameRate(31));
}

TEST(DevicePrefs, SteppedChoice) {
   struct Case {
      uint32_t step, low, high, value, fallback, choice;
   };
   const Case cases[] = {
      {1, 10, 100, 50, 20, 50},   {1, 10, 100, 10, 20, 10},
      {1, 10, 100, 101, 20, 100}, {1, 10, 100, 9, 20, 20},
      {1, 10, 100, 9, 9, 100},    {1, 10, 100, 9, 100, 100},
      {1, 10, 100, 9, 99, 99},    {1, 10, 100, 0, 10, 10},
      {20, 10, 100, 50, 20, 40},  {20, 10, 100, 119, 20, 100},
      {20, 10, 100, 10, 20, 0},   {16, 32, 1000, 5, 0, 992},
      {1, 10, 5, 7, 3, 5},        {1, 10, 5, 4, 12, 5},
      {1, 0, 0, 0, 0, 0},         {7, 0, 0xFFFFFFFF, 0xFFFFFFFF, 0, 0xFFFFFFFC},
   };
   for (const Case &c : cases) {
      EXPECT_EQ(SteppedChoice(c.step, c.low, c.high, c.value, c.fallback), c.choice)
         << c.step << " " << c.low << " " << c.high << " " << c.value << " " << c.fallback;
   }
   EXPECT_DEATH(static_cast<void>(SteppedChoice(0, 1, 2, 1, 1)), "step");
}

class QueueSettings : public ::testing::Test {
protected:
   QueueSettings() { ConfigSettings::Init(); }
   ~QueueSettings() override { ConfigSettings::Shutdown(); }

   kit::LogCapture log;
   kit::FakePreferences store;
};

TEST_F(QueueSettings, DefaultsWithoutSettings) {
   AudioDevicePrefs audio;
   VideoDevicePrefs video;
   LoadAudioQueueSettings(&audio);
   LoadVideoQueueSetting(&video);
   EXPECT_EQ(audio.FrameLenMS, 20u);
   EXPECT_EQ(audio.FrameUnitCount, 50u);
   EXPECT_EQ(audio.QLen, 10u);
   EXPECT_EQ(video.QLen, 10u);
}

TEST_F(QueueSettings, RequiredKeysFillTheFieldsOfTheTable) {
   store.Set("srcAInCaptureQueueLen", int64_t{60});
   store.Set("srcAInCaptureQueueDataSize", int64_t{33});
   store.Set("srcAInDataQueueLen", int64_t{7});
   store.Set("srcWCamQueueLen", int64_t{8});
   AudioDevicePrefs audio;
   VideoDevicePrefs video;
   LoadAudioQueueSettings(&audio);
   LoadVideoQueueSetting(&video);
   EXPECT_EQ(audio.FrameLenMS, 60u);
   EXPECT_EQ(audio.FrameUnitCount, 33u);
   EXPECT_EQ(audio.QLen, 7u);
   EXPECT_EQ(video.QLen, 8u);
   EXPECT_EQ(audio.SamplePerSec, 8000u) << "nothing else changes";
}

TEST_F(QueueSettings, ValuesOutOfRangeAreReplaced) {
   AudioDevicePrefs audio;
   VideoDevicePrefs video;
   for (int64_t value = -1; value <= 130; ++value) {
      store.Set("srcAInCaptureQueueLen", value);
      store.Set("srcAInDataQueueLen", value);
      store.Set("srcWCamQueueLen", value);
      LoadAudioQueueSettings(&audio);
      LoadVideoQueueSetting(&video);
      const bool isStep = value == 20 || value == 40 || value == 60 || value == 80 || value == 100;
      EXPECT_EQ(audio.FrameLenMS, isStep ? static_cast<uint32_t>(value) : 20u) << value;
      const bool isLength = value >= 1 && value <= 100;
      EXPECT_EQ(audio.QLen, isLength ? static_cast<uint32_t>(value) : 10u) << value;
      EXPECT_EQ(video.QLen, isLength ? static_cast<uint32_t>(value) : 10u) << value;
   }
   for (const auto &[value, wanted] : {std::pair{9, 50u}, {10, 10u}, {1000, 1000u}, {1001, 50u}, {0, 50u}}) {
      store.Set("srcAInCaptureQueueDataSize", int64_t{value});
      LoadAudioQueueSettings(&audio);
      EXPECT_EQ(audio.FrameUnitCount, wanted) << value;
   }
}

TEST(DevicePrefs, LogsThreeLines) {
   kit::LogCapture log;
   LogDevicePrefs(ExamplePrefs(), "Function");
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Codec=%u", "Function", 12u)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Video: QLen=%u  PauseMS=%u  Width=%u  Height=%u  FrameRate=%u", "Function",
                       0xFFFEFDFCu, 0x01020304u, 1280u, 720u, 30u));
   EXPECT_TRUE(log.Saw(logger::DEBUG,
                       "%s - Audio: QLen=%u  FrameUnitCount=%u  FrameLenMS=%u  BitsPerSample=%u  Channels=%u  "
                       "FramesPerPacket=%u  InputStreams=%u  SamplePerSec=%u",
                       "Function", 10u, 50u, 20u, 16u, 1u, 1u, 1u, 8000u));
   EXPECT_EQ(log.Lines().size(), 3u);
}

} // namespace
