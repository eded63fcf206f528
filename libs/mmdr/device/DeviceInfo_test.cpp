#include "libs/mmdr/device/DeviceInfo.h"

#include <gtest/gtest.h>

namespace MMDev {
namespace {

TEST(DeviceInfo, DefaultRecordStandsForNoDevice) {
   const DeviceInfo none;
   EXPECT_EQ(none.mReserved, 0u);
   EXPECT_EQ(none.mKind, 0u);
   EXPECT_EQ(none.mIndex, 0u);
   EXPECT_EQ(none.mName + none.mGuid + none.mSystemId + none.mUserId, "");
}

TEST(DeviceInfo, CopiesAreDeepAndCarryEveryField) {
   DeviceInfo original{7, kVideoInput, "name", "guid", 3, "system", "user"};
   const DeviceInfo copy = original;
   original = DeviceInfo{};
   EXPECT_EQ(copy.mReserved, 7u);
   EXPECT_EQ(copy.mKind, 2u);
   EXPECT_EQ(copy.mName, "name");
   EXPECT_EQ(copy.mGuid, "guid");
   EXPECT_EQ(copy.mIndex, 3u);
   EXPECT_EQ(copy.mSystemId, "system");
   EXPECT_EQ(copy.mUserId, "user");
}

TEST(DeviceInfo, CameraMapIsOrderedByTheBytesOfTheGuid) {
   CamDevInfoMap map;
   map["{b}"];
   map["{B}"];
   map["{\xc3}"];
   map["{a}"];
   std::string order;
   for (const auto &[guid, camera] : map) {
      order += guid;
   }
   EXPECT_EQ(order, "{B}{a}{b}{\xc3}");
}

} // namespace
} // namespace MMDev
