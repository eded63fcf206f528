#include "libs/avManager/VideoRecWait.h"

#include "lib/mfw/common/linuxSupport.h"
#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace {

TEST(VideoRecWait, TheCamerasEventIsAFrame) {
   const kit::LogCapture log;
   EXPECT_EQ(ReportWait("F", WAIT_OBJECT_0 + 1), FrameWait::Frame);
   EXPECT_EQ(log.Dump(), "");
}

TEST(VideoRecWait, EveryOtherEndIsToldAndGivesUp) {
   const kit::LogCapture log;
   EXPECT_EQ(ReportWait("F", WAIT_OBJECT_0), FrameWait::GaveUp);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Thread NotifEvent triggered", "F")) << log.Dump();
   EXPECT_EQ(ReportWait("F", 128), FrameWait::GaveUp);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - mServiceThread.GetNotifEvent() wait abandoned!", "F")) << log.Dump();
   EXPECT_EQ(ReportWait("F", 129), FrameWait::GaveUp);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - mHEvent wait abandoned!", "F")) << log.Dump();
   EXPECT_EQ(ReportWait("F", WAIT_TIMEOUT), FrameWait::GaveUp);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Wait timed out!", "F")) << log.Dump();
   errno = EINVAL;
   EXPECT_EQ(ReportWait("F", WAIT_FAILED), FrameWait::GaveUp);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Wait failed! Error: %d", "F", EINVAL)) << log.Dump();
}

TEST(VideoRecWait, NoOtherNumberIsTheEndOfAWaitForTwo) {
   const kit::LogCapture log;
   for (const uint32_t result : {2U, 127U, 130U, 257U, 259U, 0xFFFFFFFEU}) {
      EXPECT_EQ(ReportWait("F", result), FrameWait::Impossible) << result;
   }
   EXPECT_EQ(log.Dump(), "");
}

} // namespace
