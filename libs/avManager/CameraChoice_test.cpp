#include "libs/avManager/CameraChoice.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

namespace {

constexpr const char *kFunction = "GetPrefDeviceIndex";

MMDev::DeviceInfo Camera(const char *name, const char *rawName, const char *systemId) {
   MMDev::DeviceInfo info;
   info.mName = name;
   info.mSystemId = systemId;
   info.mUserId = std::string(rawName) + "#" + systemId;
   return info;
}

class CameraChoiceTest : public testing::Test {
protected:
   void Expect(const char *userId, const char *name, int32_t index, const char *systemId) {
      const CameraChoice choice = ChooseCamera(cameras, userId, name);
      EXPECT_EQ(choice.index, index) << userId << " / " << name;
      EXPECT_EQ(choice.systemId, systemId) << userId << " / " << name;
   }

   // Two cameras of one name carry a number in the list, and their raw name in the user id.
   MMDev::DeviceList cameras{Camera("Desk", "Desk", "a"), Camera("Door", "Door", "b"), Camera("Desk 2", "Desk", "c")};
   kit::LogCapture log;
};

TEST_F(CameraChoiceTest, WithoutCamerasThereIsNone) {
   cameras.clear();
   Expect("Desk#a", "Desk", -1, "");
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - No Webcams found", kFunction)) << log.Dump();
}

TEST_F(CameraChoiceTest, NameAndUserIdTogether) {
   Expect("Door#b", "Door", 1, "b");
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Preferred device found.  Index=%u  UserId='%s'  Name='%s'  SystemId='%s'",
                       kFunction, 1U, "Door#b", "Door", "b"))
      << log.Dump();
}

TEST_F(CameraChoiceTest, NameAloneWithoutUserId) {
   Expect("", "Desk 2", 2, "c");
}

TEST_F(CameraChoiceTest, NameWithTheFirstPartOfAnIdFromElsewhere) {
   Expect("Desk#another-machine", "Desk 2", 2, "c");
}

TEST_F(CameraChoiceTest, UserIdAloneWhole) {
   Expect("Desk#c", "", 2, "c");
   EXPECT_EQ(log.Count(logger::DEBUG, "%s - Preferred device found.  Index=%u  UserId='%s'  Name='%s'  SystemId='%s'",
                       kFunction, 2U, "Desk#c", "Desk 2", "c"),
             1U)
      << log.Dump();
}

TEST_F(CameraChoiceTest, UserIdByItsFirstPart) {
   Expect("Door#elsewhere", "", 1, "b");
   EXPECT_TRUE(log.Saw(logger::DEBUG,
                       "%s - Partial match found for Preferred Device[UserId=%s].  Index=%u  UserId='%s'  Name='%s'  "
                       "SystemId='%s'",
                       kFunction, "Door#elsewhere", 1U, "Door#b", "Door", "b"))
      << log.Dump();
}

TEST_F(CameraChoiceTest, AnIdWithoutANumberSignIsItsOwnFirstPart) {
   Expect("c", "", 2, "c");
}

TEST_F(CameraChoiceTest, AnEmptyFirstPartIsInEveryUserId) {
   Expect("#c", "", 0, "a");
}

TEST_F(CameraChoiceTest, TheLastCameraOfThatNameIsTheCandidate) {
   cameras = {Camera("Desk", "Desk", "a"), Camera("Door", "Door", "b"), Camera("Desk", "Desk", "c")};
   Expect("Window#x", "Desk", 2, "c");
}

TEST_F(CameraChoiceTest, RequiredACameraThatOnlyTheUserIdFindsIsPassedOverThoughLoggedAsFound) {
   Expect("Door#b", "Desk", 0, "a");
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Preferred device found.  Index=%u  UserId='%s'  Name='%s'  SystemId='%s'",
                       kFunction, 1U, "Door#b", "Door", "b"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Preferred device found.  Index=%u  UserId='%s'  Name='%s'  SystemId='%s'",
                       kFunction, 0U, "Desk#a", "Desk", "a"))
      << log.Dump();
}

TEST_F(CameraChoiceTest, NothingAskedForIsTheFirst) {
   Expect("", "", 0, "a");
   EXPECT_TRUE(log.Saw(
      logger::DEBUG, "%s - Preferred device not specified.  Selecting  Index=%d  UserId='%s'  Name='%s'  SystemId='%s'",
      kFunction, 0, "Desk#a", "Desk", "a"))
      << log.Dump();
}

TEST_F(CameraChoiceTest, NothingFoundIsTheFirst) {
   Expect("Window#x", "Window", 0, "a");
   EXPECT_TRUE(log.Saw(logger::DEBUG,
                       "%s - Preferred device not found[UserId=%s, Name=%s].  Selecting  Index=%d  UserId='%s'  "
                       "Name='%s'  SystemId='%s'",
                       kFunction, "Window#x", "Window", 0, "Desk#a", "Desk", "a"))
      << log.Dump();
   Expect("", "Window", 0, "a");
}

} // namespace
