#include "libs/common/PreferredDevice.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

namespace {

MMDev::DeviceInfo Device(const std::string &name, const std::string &userId) {
   MMDev::DeviceInfo record;
   record.mName = name;
   record.mUserId = userId;
   return record;
}

int gEnumerations = 0;
bool gEnumerationWorks = true;
MMDev::DeviceList gPresent;

bool Enumerate(MMDev::DeviceList &list) {
   ++gEnumerations;
   list = gPresent;
   return gEnumerationWorks;
}

class PreferredDevice : public ::testing::Test {
protected:
   PreferredDevice() {
      gEnumerations = 0;
      gEnumerationWorks = true;
      gPresent = {Device("Cam", "Cam#a"), Device("Cam 2", "Cam#ab"), Device("Other", "Other#b")};
   }

   // The user id of what is found.
   static std::string Resolve(const std::string &id, const std::string &name) {
      return ResolvePreferredDevice({"Function()", "Short", &Enumerate}, id, name).mUserId;
   }

   kit::LogCapture log;
};

TEST_F(PreferredDevice, NothingPreferredEnumeratesNothing) {
   EXPECT_EQ(Resolve("", ""), "");
   EXPECT_EQ(gEnumerations, 0);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Config preferred device is NULL.", "Short")) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1u);
}

TEST_F(PreferredDevice, FailedEnumerationIsLoggedAndGivesNoDevice) {
   gEnumerationWorks = false;
   EXPECT_EQ(Resolve("Cam#a", ""), "");
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to enum the device.", "Short")) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1u);
}

TEST_F(PreferredDevice, EmptyListGivesNoDevice) {
   gPresent.clear();
   EXPECT_EQ(Resolve("Cam#a", ""), "");
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - List size is 0.", "Short")) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1u);
}

TEST_F(PreferredDevice, WholeIdWinsOverAnEarlierPiece) {
   EXPECT_EQ(Resolve("Cam#ab", "Other"), "Cam#ab");
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Find matched preferred id: '%s' in device list.", "Function()", "Cam#ab"))
      << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1u);
   gPresent = {Device("x", "xCam#a"), Device("Cam", "Cam#a")};
   EXPECT_EQ(Resolve("Cam#a", ""), "Cam#a");
}

TEST_F(PreferredDevice, APieceOfAUserIdFindsTheFirstThatHasIt) {
   EXPECT_EQ(Resolve("b", ""), "Cam#ab") << "the first in list order, not the best";
   EXPECT_EQ(Resolve("Other", ""), "Other#b") << "a bare name";
   EXPECT_EQ(Resolve("#", ""), "Cam#a");
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Find preferred id: '%s' in device list.", "Function()", "Other"))
      << log.Dump();
   EXPECT_EQ(Resolve("other", ""), "") << "case counts";
   EXPECT_EQ(Resolve("Cam#abc", ""), "") << "the user id must contain the id, not the id the user id";
}

TEST_F(PreferredDevice, NameIsTriedAfterTheIdAndExactWithItsNumber) {
   EXPECT_EQ(Resolve("absent", "Cam 2"), "Cam#ab");
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Cannot find preferred id: '%s' in device list.", "Function()", "absent"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Find preferred name: '%s' in device list.", "Function()", "Cam 2"));
   EXPECT_EQ(log.Lines().size(), 2u);
   log.Clear();
   EXPECT_EQ(Resolve("", "Cam"), "Cam#a");
   EXPECT_EQ(log.Lines().size(), 1u) << "no line on an id that is not there";
   EXPECT_EQ(Resolve("", "Ca"), "");
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Cannot find preferred name: '%s' in device list.", "Function()", "Ca"));
}

TEST_F(PreferredDevice, NeverFallsBackOnAnotherDevice) {
   EXPECT_EQ(Resolve("absent", "absent"), "");
   EXPECT_EQ(Resolve(std::string(100'000, 'x'), std::string(1, '\xff')), "");
}

} // namespace
