#include "libs/avManager/MicrophoneChoice.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Match = MicrophoneChoice::Match;

const MMDev::DeviceList &Microphones() {
   static const MMDev::DeviceList list = [] {
      MMDev::DeviceList made(3);
      made[0].mUserId = "USB Microphone#mic-1";
      made[1].mUserId = "USB Microphone#mic-2";
      made[1].mName = "USB Microphone 2";
      made[2].mUserId = "Room#mic-3";
      return made;
   }();
   return list;
}

void ExpectChoice(const std::string &userId, Match match, size_t index = 0) {
   const MicrophoneChoice choice = ChooseMicrophone(Microphones(), userId);
   EXPECT_EQ(choice.match, match) << userId;
   EXPECT_EQ(choice.index, index) << userId;
}

TEST(MicrophoneChoice, TheWholeIdComesBeforeAnyPart) {
   ExpectChoice("USB Microphone#mic-2", Match::Whole, 1);
   ExpectChoice("Room#mic-3", Match::Whole, 2);
}

TEST(MicrophoneChoice, TheFirstPartMatchesTheFirstThatContainsIt) {
   ExpectChoice("USB Microphone#mic-9", Match::Part, 0);
   ExpectChoice("Room", Match::Part, 2);
   ExpectChoice("mic-2", Match::Part, 1);
   ExpectChoice("Room#", Match::Part, 2);
   ExpectChoice("oom##x", Match::Part, 2);
}

TEST(MicrophoneChoice, RequiredAnEmptyFirstPartMatchesTheFirstMicrophone) {
   ExpectChoice("#mic-3", Match::Part, 0);
   ExpectChoice("#", Match::Part, 0);
}

TEST(MicrophoneChoice, NothingMatchesNothing) {
   ExpectChoice("", Match::None);
   ExpectChoice("Gone#mic-3", Match::None);
   ExpectChoice("USB Microphone 2", Match::None);
   ExpectChoice("room#mic-3", Match::None);
   EXPECT_EQ(ChooseMicrophone({}, "Room#mic-3").match, Match::None);
   EXPECT_EQ(ChooseMicrophone({}, "#").match, Match::None);
}

} // namespace
