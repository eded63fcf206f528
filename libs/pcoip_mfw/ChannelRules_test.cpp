#include "libs/pcoip_mfw/ChannelRules.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

namespace {

TEST(ReadBufferCapacity, FillsAboutThirtyTwoKibibytes) {
   EXPECT_EQ(ReadBufferCapacity(1), 32768U);
   EXPECT_EQ(ReadBufferCapacity(1200), 27U);
   EXPECT_EQ(ReadBufferCapacity(16384), 2U);
   EXPECT_EQ(ReadBufferCapacity(16385), 1U);
   EXPECT_EQ(ReadBufferCapacity(32768), 1U);
}

TEST(ReadBufferCapacity, LargerDatagramsComeOneAtATime) {
   EXPECT_EQ(ReadBufferCapacity(32769), 1U);
   EXPECT_EQ(ReadBufferCapacity(40000), 1U);
   EXPECT_EQ(ReadBufferCapacity(UINT32_MAX), 1U);
}

TEST(ReadBufferCapacity, SizeOfNothingDividesByNothing) {
   EXPECT_EQ(ReadBufferCapacity(0), 1U);
}

TEST(ReadBufferSize, AddsTheRoomsOnce) {
   EXPECT_EQ(ReadBufferSize(1200, 27, 16, 8), 27U * 1200 + 24);
   EXPECT_EQ(ReadBufferSize(40000, 1, 0, 0), 40000U);
}

TEST(ReadBufferSize, SumThatWrapsIsNoSize) {
   EXPECT_EQ(ReadBufferSize(UINT32_MAX, 1, 0, 0), UINT32_MAX);
   EXPECT_EQ(ReadBufferSize(UINT32_MAX, 1, 1, 0), std::nullopt);
   EXPECT_EQ(ReadBufferSize(UINT32_MAX - 15, 1, 16, 16), std::nullopt);
   EXPECT_EQ(ReadBufferSize(1200, 27, UINT32_MAX, UINT32_MAX), std::nullopt);
   EXPECT_EQ(ReadBufferSize(UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX), std::nullopt);
}

TEST(PriorityFlags, OneBitForEachAndTwiceWithALossyTwin) {
   EXPECT_EQ(PriorityFlags(0, false), 1U);
   EXPECT_EQ(PriorityFlags(1, false), 2U);
   EXPECT_EQ(PriorityFlags(2, false), 4U);
   EXPECT_EQ(PriorityFlags(0, true), 257U);
   EXPECT_EQ(PriorityFlags(1, true), 514U);
   EXPECT_EQ(PriorityFlags(2, true), 1028U);
}

TEST(PriorityFlags, UnknownPriorityIsLow) {
   EXPECT_EQ(PriorityFlags(3, false), 1U);
   EXPECT_EQ(PriorityFlags(UINT32_MAX, true), 0x101U);
}

TEST(HostName, IsCutAt31AndPaddedWithZeros) {
   EXPECT_EQ(std::string(HostName("abc").data(), kPcoipNameBytes), std::string("abc") + std::string(29, '\0'));
   const std::string forty(40, 'x');
   EXPECT_EQ(std::string(HostName(forty.c_str()).data(), kPcoipNameBytes), std::string(31, 'x') + '\0');
   EXPECT_EQ(std::string(HostName("").data(), kPcoipNameBytes), std::string(32, '\0'));
}

TEST(MeansChannel, NamesAreComparedToTheirEnds) {
   EXPECT_TRUE(MeansChannel("audio", "audio"));
   EXPECT_FALSE(MeansChannel("audi", "audio"));
   EXPECT_FALSE(MeansChannel("audio", "audi"));
   EXPECT_FALSE(MeansChannel("Audio", "audio"));
   EXPECT_TRUE(MeansChannel("", ""));
   EXPECT_FALSE(MeansChannel("", "audio"));
}

TEST(MeansChannel, NameOf40CharactersIsMatchedOnItsFirst31) {
   const std::string channel = std::string(31, 'x') + "behind it";
   EXPECT_TRUE(MeansChannel(HostName(channel.c_str()).data(), channel.c_str()));
   EXPECT_FALSE(MeansChannel(std::string(30, 'x').c_str(), channel.c_str()));
   EXPECT_TRUE(MeansChannel(std::string(31, 'x').c_str(), std::string(31, 'x').c_str()));
}

TEST(MeansChannel, LongerNamesAreComparedOver32Bytes) {
   const std::string channel = std::string(31, 'x') + "behind it";
   EXPECT_TRUE(MeansChannel((std::string(31, 'x') + "b").c_str(), channel.c_str()));
   EXPECT_TRUE(MeansChannel((std::string(31, 'x') + "bright").c_str(), channel.c_str()));
   EXPECT_FALSE(MeansChannel((std::string(31, 'x') + "c").c_str(), channel.c_str()));
}

TEST(RewriteChannelName, ReplacesEachFormEverywhereWithItsCase) {
   EXPECT_EQ(RewriteChannelName("TOLVAR_Tolvar_TLV"), "ZENTHAR_Zenthar_ZTH");
   EXPECT_EQ(RewriteChannelName("TLVTLVTOLVARTOLVAR"), "ZTHZTHZENTHARZENTHAR");
   EXPECT_EQ(RewriteChannelName("tolvar tlv TolVar"), "tolvar tlv TolVar");
   EXPECT_EQ(RewriteChannelName(""), "");
}

TEST(RewriteChannelName, GoesOnBehindWhatItPutIn) {
   EXPECT_EQ(RewriteChannelName("TTOLVARLV"), "TZENTHARLV");
   EXPECT_EQ(RewriteChannelName("TTLVLV"), "TZTHLV");
}

TEST(RewriteChannelName, LeavesTheOriginalAlone) {
   const CORE::corestring name("TLV");
   EXPECT_EQ(RewriteChannelName(name), "ZTH");
   EXPECT_EQ(name, "TLV");
}

TEST(ChannelTexts, NameWhatTheyKnow) {
   EXPECT_STREQ(PriorityText(0), "low");
   EXPECT_STREQ(PriorityText(1), "medium");
   EXPECT_STREQ(PriorityText(2), "high");
   EXPECT_STREQ(PriorityText(3), "???");
   EXPECT_STREQ(StateText(0), "OpenPending");
   EXPECT_STREQ(StateText(1), "Open");
   EXPECT_STREQ(StateText(2), "Closed");
   EXPECT_STREQ(StateText(3), "???");
   EXPECT_STREQ(StateText(-1), "???");
   EXPECT_STREQ(LossyText(true), "Lossy");
   EXPECT_STREQ(LossyText(false), "Reliable");
   EXPECT_STREQ(TruthText(true), "true");
   EXPECT_STREQ(TruthText(false), "false");
}

} // namespace
