#include "libs/avManager/devices/VideoInputDevices.h"

#include "lib/mfw/common/logger.h"
#include "osal/Platform.h"
#include "tests/kit/FakeDevices.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

namespace {

class VideoInputDevicesTest : public ::testing::Test {
protected:
   kit::LogCapture log;
   kit::FakeDevices fake;
   osal::ScopedDevices inForce{fake};
};

TEST_F(VideoInputDevicesTest, CountTellsOfTheLastEnumeration) {
   fake.cameras = {kit::Camera("A", "a"), kit::Camera("B", "b")};
   EXPECT_EQ(VideoInputDevices::Count(), 0u) << "before the first enumeration";
   MMDev::DeviceList list;
   EXPECT_TRUE(VideoInputDevices::List(list));
   EXPECT_EQ(list.size(), 2u);
   fake.cameras.pop_back();
   EXPECT_EQ(VideoInputDevices::Count(), 2u) << "counting does not enumerate";
   EXPECT_EQ(fake.discoveries, 1);
   EXPECT_TRUE(VideoInputDevices::List(list));
   EXPECT_EQ(VideoInputDevices::Count(), 1u);
}

TEST_F(VideoInputDevicesTest, TheCachesMayBeTheArgument) {
   fake.cameras = {kit::Camera("A", "a", {{640, 480}})};
   EXPECT_TRUE(VideoInputDevices::List(VideoInputDevices::CachedList()));
   EXPECT_EQ(VideoInputDevices::CachedList().size(), 1u);
   EXPECT_TRUE(VideoInputDevices::Map(VideoInputDevices::CachedMap()));
   EXPECT_EQ(VideoInputDevices::CachedMap().size(), 1u);
}

TEST_F(VideoInputDevicesTest, MapReplacesTheArgument) {
   fake.cameras = {kit::Camera("A", "a", {{640, 480}})};
   CamDevInfoMap map{{"left over", {}}};
   EXPECT_TRUE(VideoInputDevices::Map(map));
   ASSERT_EQ(map.size(), 1u);
   EXPECT_EQ(map.begin()->second.name, "A");
   EXPECT_EQ(VideoInputDevices::Count(), 0u) << "the list is another cache";
}

TEST_F(VideoInputDevicesTest, AlwaysReportsSuccess) {
   fake.discoveryStatus = osal::Status::Error(1, "gone");
   MMDev::DeviceList list(1);
   CamDevInfoMap map{{"left over", {}}};
   EXPECT_TRUE(VideoInputDevices::List(list));
   EXPECT_TRUE(VideoInputDevices::Map(map));
   EXPECT_TRUE(list.empty());
   EXPECT_TRUE(map.empty());
}

TEST_F(VideoInputDevicesTest, LogDevEnumLogsEachCamera) {
   fake.cameras = {kit::Camera("Cam", "b"), kit::Camera("Cam", "a")};
   VideoInputDevices::LogDevEnum();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - %i Device(s) found", "LogDevEnum", 2)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Name=%s   UserId=%s   SystemId=%s",
                       "static void VideoInputBase::LogDevEnum()", "Cam", "Cam#a", "a"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Name=%s   UserId=%s   SystemId=%s",
                       "static void VideoInputBase::LogDevEnum()", "Cam 2", "Cam#b", "b"));
   EXPECT_EQ(log.CountLevel(logger::DEBUG), 3);
}

} // namespace
