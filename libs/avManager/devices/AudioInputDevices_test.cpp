#include "libs/avManager/devices/AudioInputDevices.h"

#include "lib/mfw/common/logger.h"
#include "osal/Platform.h"
#include "tests/kit/FakeDevices.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

namespace {

class AudioInputDevicesTest : public ::testing::Test {
protected:
   kit::LogCapture log;
   kit::FakeDevices fake;
   osal::ScopedDevices inForce{fake};
};

TEST_F(AudioInputDevicesTest, ListEnumeratesAndCountDoesNot) {
   fake.microphones = {{"A", "a"}, {"B", "b"}};
   EXPECT_EQ(AudioInputDevices::Count(), 0u);
   MMDev::DeviceList list;
   EXPECT_TRUE(AudioInputDevices::List(list));
   EXPECT_EQ(list.size(), 2u);
   fake.microphones.clear();
   EXPECT_EQ(AudioInputDevices::Count(), 2u);
   EXPECT_TRUE(AudioInputDevices::List(AudioInputDevices::CachedList())) << "the cache may be the argument";
   EXPECT_EQ(AudioInputDevices::Count(), 0u);
}

TEST_F(AudioInputDevicesTest, AlwaysReportsSuccess) {
   fake.audioStatus = osal::Status::Error(1, "gone");
   MMDev::DeviceList list(1);
   EXPECT_TRUE(AudioInputDevices::List(list));
   EXPECT_TRUE(list.empty());
}

TEST_F(AudioInputDevicesTest, LogDevEnumLogsEachMicrophone) {
   fake.microphones = {{"Mic", "b"}, {"Mic", "a"}};
   AudioInputDevices::LogDevEnum();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - %u Device(s) found", "LogDevEnum", 2u)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Index=%u   Name=%s   UserId=%s   SystemId=%s",
                       "static void AudioCaptureBase::LogDevEnum()", 0u, "Mic", "Mic#a", "a"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Index=%u   Name=%s   UserId=%s   SystemId=%s",
                       "static void AudioCaptureBase::LogDevEnum()", 0u, "Mic 2", "Mic#b", "b"));
}

} // namespace
