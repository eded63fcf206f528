#include "lib/corvanebase/corvanebase.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

const auto kAborted = testing::KilledBySignal(SIGABRT);

void Print(const char *text) {
   const std::string line = "<" + std::string(text, std::strlen(text) - 1) + ">\n";
   if (write(STDERR_FILENO, line.data(), line.size()) < 0) {
      std::abort();
   }
}

TEST(PanicDeathTest, ReportsToSinkThenToStandardErrorAndAborts) {
   Panic_Init();
   Panic_Init();
   Panic_SetSink(&Print);
   EXPECT_EXIT(Panic("%s %d", "bad", 7), kAborted, "^<bad 7>\nbad 7\n");
}

TEST(PanicDeathTest, DoesWithoutASink) {
   Panic_SetSink(&Print);
   Panic_SetSink(nullptr);
   EXPECT_EXIT(Panic("bad\n"), kAborted, "^bad\n$");
}

TEST(PanicDeathTest, WithoutATextStillEndsALine) {
   EXPECT_EXIT(Panic("%s", ""), kAborted, "^\n$");
}

void PanicAgain(const char * /*text*/) {
   Panic("second\n");
}

TEST(PanicDeathTest, PanicInsideTheReportEndsAtOnce) {
   Panic_SetSink(&PanicAgain);
   EXPECT_EXIT(Panic("first\n"), kAborted, "^$");
}

void PanicOnSignal(int /*signal*/) {
   Panic("in handler\n");
}

TEST(PanicDeathTest, PanicInTheHandlerOfItsSignalEndsAtOnce) {
   EXPECT_EXIT(
      {
         std::signal(SIGABRT, &PanicOnSignal);
         Panic("first\n");
      },
      kAborted, "^first\n$");
}

void PanicOnAnotherThread(const char * /*text*/) {
   std::thread([] { Panic("second thread\n"); }).join();
}

TEST(PanicDeathTest, PanicOnASecondThreadEndsAtOnce) {
   Panic_SetSink(&PanicOnAnotherThread);
   EXPECT_EXIT(Panic("first\n"), kAborted, "^$");
}

TEST(PanicDeathTest, KeepsAMessageOfTheLongestKind) {
   const std::string text(65532, 'x');
   EXPECT_EXIT(
      {
         Panic_SetSink([](const char *report) { _exit(std::strlen(report) == 65532 + 7 ? 3 : 4); });
         Panic("MAVR: %s", text.c_str());
      },
      testing::ExitedWithCode(3), "");
}

TEST(PanicDeathTest, CutsALongerOneOnAWholeCharacter) {
   std::string text;
   while (text.size() < 100'000) {
      text += "\xE2\x82\xAC";
   }
   EXPECT_EXIT(
      {
         Panic_SetSink([](const char *report) {
            const size_t length = std::strlen(report);
            const bool whole =
               length > 65'000 && length < 66'000 && (length - 1) % 3 == 0 && report[length - 1] == '\n';
            _exit(whole ? 3 : 4);
         });
         Panic("%s", text.c_str());
      },
      testing::ExitedWithCode(3), "");
}

TEST(PanicDeathTest, SurvivesAStandardErrorThatIsClosed) {
   EXPECT_EXIT(
      {
         close(STDERR_FILENO);
         Panic("unheard\n");
      },
      kAborted, "");
}

} // namespace
