#include "lib/log/LogDeferred.h"
#include "lib/log/LogTestKit.h"

#include <climits>
#include <cstring>
#include <pthread.h>
#include <utility>

using logtest::CaptureOutput;
using logtest::LogFixture;

namespace {

class LogEmit : public LogFixture {
protected:
   void Attach() { ASSERT_TRUE(Log_AddOutput(&capture)); }
   std::string LastText() const { return capture.lines.empty() ? "" : capture.lines.back().text; }
};

// The compiler does not know "%m" and would warn.
void LogUnchecked(const char *format, ...) {
   va_list args;
   va_start(args, format);
   void (*const unchecked)(LogRouting, const char *, va_list) = &Log_LevelV;
   unchecked(5, format, args);
   va_end(args);
}

const char *Of(const std::string &text) {
   return text.c_str();
}

} // namespace

TEST_F(LogEmit, KeepsAMessageOf318BytesOnTheStackAndALongerOneInTheBigBuffer) {
   Attach();
   for (const size_t length : std::initializer_list<size_t>{0, 1, 318, 319, 320, 32765}) {
      Log_Info("%s", Of(std::string(length, 'x')));
      EXPECT_EQ(LastText(), std::string(length, 'x') + "\n") << length;
   }
   Log_Info("%s", Of(std::string(32766, 'x')));
   EXPECT_EQ(LastText(), std::string(32766, 'x') + "\n");
   EXPECT_NE(gLogState.bigBuffer.load(), nullptr) << "it was given back";
}

TEST_F(LogEmit, CutsAMessageThatTheBigBufferCannotHold) {
   Attach();
   for (const size_t length : std::initializer_list<size_t>{32767, 32768, 40000, 70000}) {
      Log_Info("%s", Of(std::string(length, 'x')));
      EXPECT_EQ(LastText(), std::string(32765, 'x') + "\n") << length;
   }
}

TEST_F(LogEmit, CutsALongMessageBetweenCharacters) {
   Attach();
   std::string text = "a";
   while (text.size() < 40000) {
      text += "\xE2\x82\xAC";
   }
   Log_Info("%s", text.c_str());
   EXPECT_EQ(LastText(), text.substr(0, 1 + (32764 / 3) * 3) + "\n");
}

TEST_F(LogEmit, CutsALongMessageToTheStackWhileTheBigBufferIsTaken) {
   Attach();
   char *const taken = LogState_TakeBigBuffer(&gLogState);
   Log_Info("%s", Of(std::string(318, 'y')));
   EXPECT_EQ(LastText(), std::string(318, 'y') + "\n");
   Log_Info("%s", Of(std::string(319, 'y')));
   EXPECT_EQ(LastText(), std::string(317, 'y') + "\n");
   EXPECT_EQ(gLogState.bigBuffer.load(), nullptr) << "another thread's buffer was given back";
   LogState_ReturnBigBuffer(&gLogState, taken);
}

TEST_F(LogEmit, LeavesNoHalfCharacterAtAnyCutWhateverTheBytes) {
   Attach();
   // What may lie across the cut, and how much of it is left when only its first bytes fit: index 0 for none of them.
   const struct {
      const char *bytes;
      size_t left[5];
   } cases[] = {{"\xC3\xA4", {0, 0, 2}},        {"\xE2\x82\xAC", {0, 0, 0, 3}}, {"\xF0\x9F\x98\x80", {0, 0, 0, 0, 4}},
                {"\xFF\xFF\xFF", {0, 0, 1, 2}}, {"\x80\x80", {0, 0, 0}},        {"\xF8\x80\x80\x80", {0, 0, 0, 0, 0}}};
   for (const bool taken : {false, true}) {
      char *const big = taken ? LogState_TakeBigBuffer(&gLogState) : nullptr;
      const size_t end = (taken ? size_t{319} : size_t{32767}) - 2;
      for (const auto &each : cases) {
         for (size_t fits = 0; fits <= std::strlen(each.bytes); ++fits) {
            const std::string text = std::string(end - fits, 'x') + each.bytes + std::string(70000, 'y');
            Log_Info("%s", text.c_str());
            EXPECT_EQ(LastText().size(), end - fits + each.left[fits] + 1) << fits << " of " << (each.bytes[0] & 0xFF);
            EXPECT_EQ(LastText(), text.substr(0, LastText().size() - 1) + "\n");
         }
      }
      if (taken) {
         LogState_ReturnBigBuffer(&gLogState, big);
      }
   }
}

TEST_F(LogEmit, AddsANewlineOnlyWhereThereIsNone) {
   Attach();
   Log_Info("%s", "");
   EXPECT_EQ(LastText(), "\n");
   Log_Info("with\n");
   EXPECT_EQ(LastText(), "with\n");
   Log_Info("without");
   EXPECT_EQ(LastText(), "without\n");
}

TEST_F(LogEmit, EndsAMessageAtAZeroByte) {
   Attach();
   Log_Info("before%cbehind\n", 0);
   EXPECT_EQ(LastText(), "before\n");
}

TEST_F(LogEmit, LogsWhatCannotBeFormattedAsFarAsItGoes) {
   Attach();
   const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
   Log_Info("before %ls", noCharacter);
   ASSERT_EQ(capture.lines.size(), 1U);
   EXPECT_EQ(LastText().back(), '\n');
   EXPECT_EQ(gLogState.bigBuffer.load() != nullptr, true);
}

TEST_F(LogEmit, MasksEveryMessage) {
   Attach();
   Log_Info("Found TLV device");
   EXPECT_TRUE(capture.Saw(5, "Found *** device\n")) << capture.Dump();
}

TEST_F(LogEmit, MasksStandardErrorToo) {
   Log_SetStderrLevel(0, 5);
   testing::internal::CaptureStderr();
   Log_Info("Found TLV device");
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "Found *** device\n");
}

TEST_F(LogEmit, StampsTheLinesOfAMessageAlikeAndMarksTheLaterOnes) {
   Attach();
   Log_Warning("a\nb\n");
   ASSERT_EQ(capture.lines.size(), 2U);
   EXPECT_EQ(capture.lines[0].text, "a\n");
   EXPECT_FALSE(capture.lines[0].continuation);
   EXPECT_EQ(capture.lines[1].text, "b\n");
   EXPECT_TRUE(capture.lines[1].continuation);
   EXPECT_EQ(capture.lines[0].stamp, "2026-11-12T18:30:00.123Z");
   EXPECT_EQ(capture.lines[1].stamp, capture.lines[0].stamp);
   EXPECT_EQ(capture.lines[1].level, 3U);
}

TEST_F(LogEmit, HandsAMessageWholeToAnOutputThatWantsItSo) {
   capture.multiLine = true;
   CaptureOutput single("single");
   Attach();
   ASSERT_TRUE(Log_AddOutput(&single));
   Log_Info("a\nb\n");
   ASSERT_EQ(capture.lines.size(), 1U);
   EXPECT_EQ(capture.lines[0].text, "a\nb\n");
   EXPECT_EQ(single.lines.size(), 2U);
}

TEST_F(LogEmit, KeepsEarlyMessagesWithTheStampOfTheirMoment) {
   Log_Info("early");
   clock.AdvanceMs(877);
   Attach();
   Log_Info("late");
   ASSERT_EQ(capture.lines.size(), 2U);
   EXPECT_EQ(capture.lines[0].text, "early\n");
   EXPECT_EQ(capture.lines[0].stamp, "2026-11-12T18:30:00.123Z");
   EXPECT_EQ(capture.lines[1].stamp, "2026-11-12T18:30:01.000Z");
}

TEST_F(LogEmit, LosesTheOldestEarlyMessagesOnly) {
   for (int count = 0; count < 2000; ++count) {
      Log_Info("message %d", count);
   }
   Attach();
   ASSERT_GT(capture.lines.size(), 300U);
   EXPECT_EQ(capture.lines.back().text, "message 1999\n");
   EXPECT_EQ(capture.lines[capture.lines.size() - 100].text, "message 1900\n");
}

TEST_F(LogEmit, GoesByTheFiltersOfModules) {
   Attach();
   Log_Level(32 * 7 + 5, "dropped");
   EXPECT_TRUE(capture.lines.empty());
   Log_SetFileLevel(7, 8);
   Log_Level(32 * 7 + 8, "passes");
   Log_Level(32 * 7 + 9, "does not");
   capture.fileLevel = 0;
   Log_Level(32 * 7 + 8, "passes by the module's filter alone");
   capture.fileLevel = -1;
   Log_Level(32 * 7 + 8, "an output with no level takes nothing");
   ASSERT_EQ(capture.lines.size(), 2U) << capture.Dump();
   EXPECT_TRUE(capture.Saw(8, "passes\n"));
   EXPECT_TRUE(capture.Saw(8, "passes by the module's filter alone\n"));
}

TEST_F(LogEmit, GoesByTheGlobalFilterOutsideTheModules) {
   Attach();
   Log_SetFileLevel(0, 5);
   for (const LogRouting routing : {5U, 10080U + 5U, UINT_MAX - 26U}) {
      Log_Level(routing, "routed %u", routing);
      EXPECT_EQ(LastText(), "routed " + std::to_string(routing) + "\n");
   }
   Log_Level(10079, "module 314, level 31");
   EXPECT_EQ(capture.lines.size(), 3U);
}

TEST_F(LogEmit, LetsLevelZeroThroughWhateverTheLevelAndNeverToStandardError) {
   Attach();
   Log_SetFileLevel(0, -1);
   Log_SetStderrLevel(0, 23);
   testing::internal::CaptureStderr();
   Log_Level(0, "audit");
   Log_Level(32 * 9, "audit of a module");
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
   EXPECT_TRUE(capture.Saw(0, "audit\n"));
   EXPECT_TRUE(capture.Saw(0, "audit of a module\n"));
}

TEST_F(LogEmit, ComparesLevelsFrom24OnByTheirNumberAndPrintsThemAsInfo) {
   Attach();
   Log_SetFileLevel(0, 23);
   Log_Level(24, "not yet");
   Log_SetFileLevel(0, 24);
   Log_Level(24, "now");
   ASSERT_EQ(capture.lines.size(), 1U);
   EXPECT_TRUE(capture.Saw(5, "now\n"));
}

TEST_F(LogEmit, KeepsErrnoAndPrintsTheCallersErrno) {
   Attach();
   errno = ENOENT;
   LogUnchecked("%m");
   EXPECT_EQ(errno, ENOENT);
   EXPECT_EQ(LastText(), "No such file or directory\n");
   LogUnchecked("%s%m", Of(std::string(400, ' ')));
   EXPECT_EQ(errno, ENOENT);
   EXPECT_EQ(LastText(), std::string(400, ' ') + "No such file or directory\n");
}

TEST_F(LogEmit, DropsMessagesWhileTheLockIsBeingCreated) {
   Attach();
   gLogState.busy.store(1);
   Log_Info("lost");
   gLogState.busy.store(0);
   Log_Info("kept");
   EXPECT_EQ(capture.lines.size(), 1U);
}

TEST_F(LogEmit, SendsWhatAnOutputLogsToTheNextMessage) {
   capture.onWrite = [] {
      Log_Info("from inside");
   };
   Attach();
   Log_Info("first");
   ASSERT_EQ(capture.lines.size(), 1U);
   capture.onWrite = nullptr;
   Log_Info("second");
   ASSERT_EQ(capture.lines.size(), 3U);
   EXPECT_EQ(capture.lines[1].text, "from inside\n");
   EXPECT_EQ(capture.lines[2].text, "second\n");
}

TEST_F(LogEmit, EndsTheDrainOfAnOutputThatLogsAboutEachLine) {
   capture.onWrite = [] {
      Log_Info("again and again");
   };
   Log_Info("early");
   Attach();
   EXPECT_EQ(capture.lines.size(), 1U);
   Log_Info("next");
   EXPECT_EQ(capture.lines.size(), 3U) << "one from the first drain, and the message itself";
}

TEST_F(LogEmit, EndsTheSameDrainWithoutALock) {
   Log_SetNoLock(true);
   capture.onWrite = [] {
      Log_Info("again and again");
   };
   Attach();
   Log_Info("message");
   EXPECT_EQ(capture.lines.size(), 1U);
}

TEST_F(LogEmit, NamesTheThread) {
   Attach();
   pthread_setname_np(pthread_self(), "a worker");
   Log_Info("x");
   EXPECT_EQ(capture.lines.back().thread, "a worker");
   pthread_setname_np(pthread_self(), "");
   Log_Info("x");
   EXPECT_EQ(capture.lines.back().thread, "*UNKNOWN*");
}

TEST_F(LogEmit, NoticesANewNameAfter64LinesOfABurstAndAtOnceBehindAPause) {
   Attach();
   pthread_setname_np(pthread_self(), "first");
   for (int count = 0; count < 100; ++count) {
      Log_Info("x");
   }
   pthread_setname_np(pthread_self(), "second");
   for (int count = 0; count < 64; ++count) {
      Log_Info("x");
   }
   EXPECT_EQ(capture.lines.back().thread, "second");
   pthread_setname_np(pthread_self(), "third");
   clock.AdvanceNs(100'000);
   Log_Info("x");
   EXPECT_EQ(capture.lines.back().thread, "third");
}

TEST_F(LogEmit, AsksForTheNameWhenTheWallClockHasGoneBack) {
   Attach();
   pthread_setname_np(pthread_self(), "first");
   for (int count = 0; count < 100; ++count) {
      Log_Info("x");
   }
   pthread_setname_np(pthread_self(), "second");
   clock.SetWallUs(1'000'000);
   Log_Info("x");
   EXPECT_EQ(capture.lines.back().thread, "second") << "a clock that was set is no burst";
}

TEST_F(LogEmit, GivesEachOutputWhatItsOwnLevelTakes) {
   CaptureOutput quiet("quiet");
   quiet.fileLevel = 3;
   Attach();
   ASSERT_TRUE(Log_AddOutput(&quiet));
   Log_Info("for one");
   Log_Warning("for both");
   EXPECT_EQ(capture.lines.size(), 2U);
   ASSERT_EQ(quiet.lines.size(), 1U);
   EXPECT_EQ(quiet.lines[0].text, "for both\n");
}

TEST_F(LogEmit, WritesToStandardErrorAloneWhatNoOutputTakes) {
   Attach();
   Log_SetFileLevel(0, 3);
   Log_SetStderrLevel(0, 5);
   testing::internal::CaptureStderr();
   Log_Info("on standard error");
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "on standard error\n");
   EXPECT_TRUE(capture.lines.empty());
}

TEST_F(LogEmit, DoesWithoutStandardError) {
   Attach();
   Log_SetStderrLevel(0, 5);
   FILE *const former = std::exchange(stderr, nullptr);
   Log_Info("x");
   stderr = former;
   EXPECT_TRUE(capture.Saw(5, "x\n"));
}

TEST_F(LogEmit, HandsAMessageWholeWhereNobodyWantsItInLines) {
   capture.multiLine = true;
   Attach();
   Log_Info("a\nb\n");
   ASSERT_EQ(capture.lines.size(), 1U);
   EXPECT_EQ(capture.lines[0].text, "a\nb\n");
   EXPECT_FALSE(capture.lines[0].continuation);
}

TEST_F(LogEmit, DispatchesALastLineWithoutItsNewline) {
   Attach();
   LogLineHeader header;
   Log_FillHeader(&gLogState.filter, LogLevel_RowByNumber(5), LogContext::Ordinary, &header);
   Log_Dispatch(&gLogState, &header, 3, "a\nb behind the end");
   ASSERT_EQ(capture.lines.size(), 2U);
   EXPECT_EQ(capture.lines[0].text, "a\n");
   EXPECT_EQ(capture.lines[1].text, "b");
}

TEST_F(LogEmit, PutsOffWhatAHandlerLogsCutToTheStackLimit) {
   LogLineHeader header;
   Log_FillHeader(&gLogState.filter, LogLevel_RowByNumber(5), LogContext::SignalHandler, &header);
   std::string text(400, 'a');
   LogDeferred_Put(header, text.size(), text.data());
   LogDeferred_MoveTo(gLogState.earlyRing);
   Attach();
   EXPECT_EQ(LastText(), std::string(317, 'a') + "\n");
}

TEST_F(LogEmit, KeepsInAChildWhatAHandlerHadFinishedBeforeTheFork) {
   LogLineHeader header;
   Log_FillHeader(&gLogState.filter, LogLevel_RowByNumber(5), LogContext::SignalHandler, &header);
   char text[] = "finished\n";
   LogDeferred_Put(header, sizeof text - 1, text);
   LogDeferred_AbandonUnfinished();
   LogDeferred_MoveTo(gLogState.earlyRing);
   Attach();
   EXPECT_EQ(LastText(), "finished\n");
}

TEST_F(LogEmit, AsksTheProviderForTheOperation) {
   Attach();
   Log_SetOpIdProvider([](size_t capacity, char *buffer) {
      EXPECT_EQ(capacity, 33U);
      std::fill_n(buffer, capacity, 'i');
      return true;
   });
   Log_Info("x");
   EXPECT_EQ(capture.lines.back().opId, std::string(32, 'i'));
   Log_SetOpIdProvider([](size_t, char *buffer) {
      buffer[0] = 'i';
      return false;
   });
   Log_Info("x");
   EXPECT_EQ(capture.lines.back().opId, "");
}

TEST_F(LogEmit, SurvivesAProviderThatLogs) {
   Attach();
   Log_SetOpIdProvider([](size_t, char *) {
      Log_Info("from the provider");
      return false;
   });
   Log_Info("one");
   Log_Info("two");
   EXPECT_TRUE(capture.Saw(5, "from the provider\n"));
}

TEST_F(LogEmit, WritesThePresentTimeAsText) {
   char text[32];
   EXPECT_EQ(Log_FormatTimeStampText(true, text, sizeof text), 24U);
   EXPECT_STREQ(text, "2026-11-12T18:30:00.123Z");
   EXPECT_EQ(Log_FormatTimeStampText(false, text, sizeof text), 20U);
   EXPECT_STREQ(text, "2026-11-12T18:30:00Z");
   EXPECT_EQ(Log_FormatTimeStampText(true, text, 5), 4U);
   EXPECT_STREQ(text, "2026");
}

TEST_F(LogEmit, PicksThrottledEvents) {
   Attach();
   uint32_t counter = 99;
   Log_InfoThrottled(&counter, "event");
   Log_InfoThrottled(&counter, "event");
   EXPECT_EQ(counter, 101U);
   EXPECT_EQ(capture.lines.size(), 1U);
   counter = 199;
   Log_WarningThrottled(&counter, "event");
   EXPECT_TRUE(capture.Saw(3, "event\n"));
}

TEST_F(LogEmit, HasRoomFor32623BytesInEveryRecord) {
   EXPECT_EQ(Log_MaxMessageLength(), 32623U);
}
