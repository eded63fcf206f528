// The log without memory: it drops, refuses and stays silent, and works as soon as there is some.

#include "lib/log/LogRing.h"
#include "lib/log/LogTestKit.h"
#include "tests/kit/Faults.h"

using kit::FailNth;
using kit::Fault;
using kit::Repeat;
using logtest::LogFixture;

namespace {
class LogMemory : public LogFixture {};
} // namespace

TEST_F(LogMemory, WithoutALockEveryCallAnswersNoAndAMessageIsDropped) {
   testing::internal::CaptureStderr();
   {
      const FailNth fault(Fault::Allocation, 1, Repeat::FromThenOn); // the lock is made at the first use
      Log_SetStderrLevel(0, 5);
      Log_Info("dropped");
      EXPECT_FALSE(Log_AddOutput(&capture));
      EXPECT_FALSE(Log_ReleaseOutput(&capture));
      EXPECT_FALSE(Log_ReplaceOutput(&capture, nullptr, false));
      EXPECT_EQ(Log_GetFilePath(), nullptr);
      EXPECT_EQ(Log_SetOutputLevel(&capture, 7), 23);
      EXPECT_EQ(capture.fileLevel, 23) << "unchanged";
      Log_DisableThrottling();
      Log_SetOpIdProvider([](size_t, char *) { return true; });
      Log_Stop();
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
   EXPECT_EQ(gLogState.opIdProvider, nullptr);
   EXPECT_EQ(gLogState.busy.load(), 0U);
   Log_SetStderrLevel(0, -1);
   ASSERT_TRUE(Log_AddOutput(&capture));
   Log_Info("there is memory");
   EXPECT_EQ(capture.lines.size(), 1U) << capture.Dump();
}

TEST_F(LogMemory, AMessageForStandardErrorAloneIsDroppedWithoutALock) {
   Log_SetFileLevel(0, -1);
   Log_SetStderrLevel(0, 5);
   testing::internal::CaptureStderr();
   {
      const FailNth fault(Fault::Allocation, 1, Repeat::FromThenOn);
      Log_Info("dropped");
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LogMemory, ARingIsWholeOrNone) {
   for (const uint64_t nth : {1U, 2U}) {
      const FailNth fault(Fault::Allocation, nth);
      EXPECT_EQ(LogRing_Create(1000), nullptr);
   }
   LogRing_Destroy(nullptr);
   LogRing *const ring = LogRing_Create(1000);
   EXPECT_NE(ring, nullptr);
   LogRing_Destroy(ring);
}

TEST_F(LogMemory, WithoutRoomForAnOutputThereIsNone) {
   {
      const FailNth fault(Fault::Allocation, 1);
      EXPECT_EQ(Log_CreateFileOutput(nullptr, "file", nullptr, nullptr), nullptr);
      EXPECT_TRUE(fault.Struck());
   }
   {
      const FailNth fault(Fault::Allocation, 1);
      EXPECT_EQ(Log_Start(nullptr, nullptr, nullptr, false), nullptr);
   }
   LogOutput *const output = Log_Start(nullptr, nullptr, nullptr, false);
   EXPECT_NE(output, nullptr);
}
