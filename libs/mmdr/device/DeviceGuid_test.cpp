#include "libs/mmdr/device/DeviceGuid.h"

#include <gtest/gtest.h>

#include <string>

namespace MMDev {
namespace {

TEST(DeviceGuid, EmptyIdGivesTheHashOfNoBytes) {
   EXPECT_EQ(MakeDeviceGuid(""), "{e3b0c442-98fc-1c14-9afb-f4c8996fb924}");
}

TEST(DeviceGuid, KnownDigestIsCutIntoFivePieces) {
   // SHA-256("abc") = ba7816bf8f01cfea414140de5dae2223b00361a3...
   EXPECT_EQ(MakeDeviceGuid("abc"), "{ba7816bf-8f01-cfea-4141-40de5dae2223}");
}

TEST(DeviceGuid, DependsOnTheIdAlone) {
   EXPECT_EQ(MakeDeviceGuid("sim-cam-1"), MakeDeviceGuid("sim-cam-1"));
   EXPECT_NE(MakeDeviceGuid("sim-cam-1"), MakeDeviceGuid("Sim-cam-1"));
   EXPECT_NE(MakeDeviceGuid("a"), MakeDeviceGuid(std::string_view("a\0", 2))) << "no terminator is hashed";
}

TEST(DeviceGuid, IsWellFormedForIdsOfAnyLengthAndBytes) {
   for (size_t length : {size_t{1}, size_t{55}, size_t{56}, size_t{64}, size_t{300}, size_t{1'000'000}}) {
      const std::string guid = MakeDeviceGuid(std::string(length, '\xff'));
      ASSERT_EQ(guid.size(), 38u);
      for (size_t i = 0; i < guid.size(); ++i) {
         const char c = guid[i];
         if (i == 0 || i == 37) {
            EXPECT_EQ(c, i == 0 ? '{' : '}');
         } else if (i == 9 || i == 14 || i == 19 || i == 24) {
            EXPECT_EQ(c, '-');
         } else {
            EXPECT_NE(std::string("0123456789abcdef").find(c), std::string::npos) << guid;
         }
      }
   }
}

} // namespace
} // namespace MMDev
