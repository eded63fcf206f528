#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace {

std::string Expanded(const char *text) {
   const corvanebase::HeapText expanded(Util_ExpandString(text));
   return expanded != nullptr ? expanded.get() : "(null)";
}

class Expand : public testing::Test {
protected:
   void SetUp() override { setenv("HOME", "/home/someone", 1); }
   const std::string mPid = std::to_string(getpid());
};

TEST_F(Expand, PutsTheHomeFolderForALeadingTilde) {
   EXPECT_EQ(Expanded("~"), "/home/someone");
   EXPECT_EQ(Expanded("~/a/b"), "/home/someone/a/b");
}

TEST_F(Expand, LeavesEveryOtherTildeAlone) {
   EXPECT_EQ(Expanded("~other/a"), "~other/a");
   EXPECT_EQ(Expanded("a/~"), "a/~");
   EXPECT_EQ(Expanded("/~/b"), "/~/b");
}

TEST_F(Expand, PutsTheProcessIdForEachPid) {
   EXPECT_EQ(Expanded("$PID"), mPid);
   EXPECT_EQ(Expanded("zenthar-$PID-$PID.log"), "zenthar-" + mPid + "-" + mPid + ".log");
   EXPECT_EQ(Expanded("$pid $PI $"), "$pid $PI $");
}

TEST_F(Expand, LeavesEmptyTextEmpty) {
   EXPECT_EQ(Expanded(""), "");
}

TEST_F(Expand, DoesNotExpandWhatTheHomeFolderIsCalled) {
   setenv("HOME", "/home/$PID", 1);
   EXPECT_EQ(Expanded("~/a"), "/home/$PID/a");
}

} // namespace
