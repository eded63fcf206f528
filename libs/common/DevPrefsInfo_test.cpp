#include "libs/common/DevPrefsInfo.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr const char kDump[] = "void DevPrefsInfo::DumpAVDevInfo() const";

class DevPrefsInfoTest : public ::testing::Test {
protected:
   kit::LogCapture log;
   DevPrefsInfo info;
};

TEST_F(DevPrefsInfoTest, AddingMarksTheDeviceAndStoresItsTexts) {
   EXPECT_FALSE(info.HasWebcamDev(1));
   info.AddWebcamDev(1, "cam id", "cam name");
   EXPECT_TRUE(info.HasWebcamDev(1));
   EXPECT_FALSE(info.HasAudioDev(1));
   info.AddAudioDev(1, "mic id", "mic name");
   EXPECT_TRUE(info.HasWebcamDev(1));
   EXPECT_TRUE(info.HasAudioDev(1));
   const DevicePrefs &first = info.FirstPrefs(1);
   EXPECT_STREQ(first.Video.DeviceId, "cam id");
   EXPECT_STREQ(first.Video.DeviceName, "cam name");
   EXPECT_STREQ(first.Audio.DeviceId, "mic id");
   EXPECT_STREQ(first.Audio.DeviceName, "mic name");
   EXPECT_STREQ(info.SecondPrefs(1).Video.DeviceId, "") << "the second prefs get none";
   EXPECT_FALSE(info.HasWebcamDev(2));
}

TEST_F(DevPrefsInfoTest, EachChangeLogsTheTable) {
   info.AddAudioDev(7, "mic id", "mic name");
   info.AddWebcamDev(2, "cam id", "cam name");
   EXPECT_EQ(log.Count(logger::DEBUG, "%s - Dump the webcam/audio device info.", kDump), 2) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - webcam index: %d, name: %s, id: %s.", kDump, 2, "cam name", "cam id"));
   EXPECT_EQ(log.Count(logger::DEBUG, "%s - audio index: %d, name: id: %s.", kDump, 7, "mic name"), 2)
      << "required: the name alone";
   const auto lines = log.Lines();
   EXPECT_EQ(lines[lines.size() - 2].text, std::string(kDump) + " - webcam index: 2, name: cam name, id: cam id.")
      << "in index order";
}

TEST_F(DevPrefsInfoTest, RequiredAShorterTextKeepsTheLongerOnesTail) {
   info.AddWebcamDev(1, "abcdef", "abcdef");
   info.AddWebcamDev(1, "XY", "");
   EXPECT_STREQ(info.FirstPrefs(1).Video.DeviceId, "XYcdef");
   const char zeros[512] = {};
   EXPECT_EQ(std::memcmp(info.FirstPrefs(1).Video.DeviceName, zeros, 512), 0) << "an empty text zeroes the member";
}

TEST_F(DevPrefsInfoTest, ATextOf512BytesFillsTheMember) {
   for (const size_t length : {size_t{511}, size_t{512}, size_t{513}, size_t{100'000}}) {
      info.AddAudioDev(1, "", "");
      info.AddAudioDev(1, std::string(length, 'i'), std::string(length, 'n'));
      const AudioDevicePrefs &audio = info.FirstPrefs(1).Audio;
      const size_t kept = std::min(length, size_t{512});
      EXPECT_EQ(std::string(audio.DeviceId, 512), std::string(kept, 'i') + std::string(512 - kept, '\0'));
      EXPECT_EQ(std::string(audio.DeviceName, kept), std::string(kept, 'n'));
      EXPECT_EQ(audio.FrameLenMS, 0u) << "nothing behind the texts is hit";
      EXPECT_TRUE(
         log.Saw(logger::DEBUG, "%s - audio index: %d, name: id: %s.", kDump, 1, std::string(kept, 'n').c_str()));
   }
}

TEST_F(DevPrefsInfoTest, RemovingOneKindKeepsTheOther) {
   info.AddWebcamDev(1, "cam id", "cam name");
   info.AddAudioDev(1, "mic id", "mic name");
   info.FirstPrefs(1).Video.Width = 640;
   log.Clear();
   EXPECT_TRUE(info.RemoveWebcamDev(1));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Webcam device removed with index: %d.", "RemoveWebcamDev", 1))
      << log.Dump();
   EXPECT_EQ(log.Count(logger::DEBUG, "%s - Dump the webcam/audio device info.", kDump), 1);
   EXPECT_FALSE(info.HasWebcamDev(1));
   EXPECT_TRUE(info.HasAudioDev(1));
   const char zeros[1024] = {};
   EXPECT_EQ(std::memcmp(info.FirstPrefs(1).Video.DeviceId, zeros, 1024), 0);
   EXPECT_EQ(info.FirstPrefs(1).Video.Width, 640u) << "only the texts go";
   EXPECT_STREQ(info.FirstPrefs(1).Audio.DeviceId, "mic id");
   EXPECT_TRUE(info.RemoveAudioDev(1));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Audio device removed with index: %d.", "RemoveAudioDev", 1));
   EXPECT_FALSE(info.HasAudioDev(1));
   EXPECT_EQ(info.FirstPrefs(1).Video.Width, 0u) << "the entry went with its last mark and is made anew";
}

TEST_F(DevPrefsInfoTest, RemovingAudioFirstKeepsTheWebcam) {
   info.AddWebcamDev(1, "cam id", "cam name");
   info.AddAudioDev(1, "mic id", "mic name");
   EXPECT_TRUE(info.RemoveAudioDev(1));
   EXPECT_FALSE(info.HasAudioDev(1));
   EXPECT_TRUE(info.HasWebcamDev(1));
   EXPECT_STREQ(info.FirstPrefs(1).Audio.DeviceName, "");
   EXPECT_STREQ(info.FirstPrefs(1).Video.DeviceName, "cam name");
   EXPECT_TRUE(info.RemoveWebcamDev(1));
   EXPECT_FALSE(info.HasWebcamDev(1));
}

TEST_F(DevPrefsInfoTest, RemovingWhatIsNotThereFails) {
   EXPECT_FALSE(info.RemoveWebcamDev(9));
   EXPECT_FALSE(info.RemoveAudioDev(9));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - No webcam device with index: %d.", "RemoveWebcamDev", 9)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - No audio device with index: %d.", "RemoveAudioDev", 9));
   EXPECT_EQ(log.Lines().size(), 2u) << "without a dump";
   info.AddWebcamDev(9, "", "");
   EXPECT_FALSE(info.RemoveAudioDev(9));
   EXPECT_TRUE(info.HasWebcamDev(9));
}

TEST_F(DevPrefsInfoTest, PrefsAreMadeWhenAbsentAndHaveNoMark) {
   info.SecondPrefs(4).Codec = 3;
   EXPECT_EQ(info.SecondPrefs(4).Codec, 3u);
   EXPECT_EQ(info.FirstPrefs(4).Audio.BitsPerSample, 16u);
   EXPECT_FALSE(info.HasWebcamDev(4));
   EXPECT_FALSE(info.RemoveWebcamDev(4));
}

} // namespace
