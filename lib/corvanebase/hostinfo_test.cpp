#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/osrelease.h"
#include "lib/corvanebase/text.h"
#include "tests/kit/ManualClock.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

using corvanebase::DistributionName;

namespace {

TEST(DistributionName, IsThePrettyNameWithoutQuotes) {
   EXPECT_EQ(DistributionName("ID=x\nPRETTY_NAME=\"Some System 12 (word)\"\nB=c\n"), "Some System 12 (word)");
   EXPECT_EQ(DistributionName("PRETTY_NAME='Some System'"), "Some System");
   EXPECT_EQ(DistributionName("PRETTY_NAME=Plain"), "Plain");
   EXPECT_EQ(DistributionName("PRETTY_NAME='a \\b'"), "a \\b") << "single quotes protect everything";
   EXPECT_EQ(DistributionName("PRETTY_NAME=\"a \\\"b\\\" \\$c\\\\\""), "a \"b\" $c\\");
}

TEST(DistributionName, IsEmptyWithoutOneAndHarmlessForDamagedContent) {
   EXPECT_EQ(DistributionName(""), "");
   EXPECT_EQ(DistributionName("NAME=x\n"), "");
   EXPECT_EQ(DistributionName("NAME=x"), "") << "a last line without an end";
   EXPECT_EQ(DistributionName("PRETTY_NAME=a\x7F"), "a ");
   EXPECT_EQ(DistributionName("XPRETTY_NAME=x\n"), "");
   EXPECT_EQ(DistributionName("PRETTY_NAME="), "");
   EXPECT_EQ(DistributionName("PRETTY_NAME=\""), "");
   EXPECT_EQ(DistributionName("PRETTY_NAME=\"a\\"), "a\\");
   EXPECT_EQ(DistributionName("PRETTY_NAME=\"a\tb\x1B[0m\""), "a b [0m");
}

TEST(Hostinfo, TimerIsTheMonotonicClock) {
   kit::ManualClock clock;
   const uint64_t before = Hostinfo_SystemTimerNS();
   clock.AdvanceNs(5);
   EXPECT_EQ(Hostinfo_SystemTimerNS(), before + 5);
   EXPECT_EQ(before, clock.monotonicNs() - 5);
}

TEST(Hostinfo, BitnessIs64OnASystemOf64Bits) {
   EXPECT_EQ(Hostinfo_GetSystemBitness(), sizeof(void *) == 8 ? 64 : 32);
}

TEST(Hostinfo, DescribesTheSystemInOneLine) {
   const corvanebase::HeapText text(Hostinfo_GetOSDetailedData());
   ASSERT_NE(text, nullptr);
   utsname system{};
   uname(&system);
   const std::string description = text.get();
   EXPECT_EQ(description.find(std::string(system.sysname) + " " + system.release), 0U) << description;
   EXPECT_NE(description.find(system.machine), std::string::npos) << description;
   EXPECT_EQ(description.find('\n'), std::string::npos);
}

TEST(HostinfoProcessSnapshot, KnowsTheLivingFromTheDead) {
   HostinfoProcessSnapshot *const snapshot = Hostinfo_AcquireProcessSnapshot();
   EXPECT_EQ(Hostinfo_QueryProcessSnapshot(snapshot, static_cast<uint32_t>(getpid())), 1);
   EXPECT_EQ(Hostinfo_QueryProcessSnapshot(snapshot, 1), 1);
   const pid_t child = fork();
   if (child == 0) {
      _exit(0);
   }
   waitpid(child, nullptr, 0);
   EXPECT_EQ(Hostinfo_QueryProcessSnapshot(snapshot, static_cast<uint32_t>(child)), 0);
   EXPECT_EQ(Hostinfo_QueryProcessSnapshot(snapshot, 0), 0);
   EXPECT_EQ(Hostinfo_QueryProcessSnapshot(snapshot, UINT32_MAX), 0);
   EXPECT_EQ(Hostinfo_QueryProcessSnapshot(snapshot, 0x80000000U), 0);
   Hostinfo_ReleaseProcessSnapshot(snapshot);
}

} // namespace
