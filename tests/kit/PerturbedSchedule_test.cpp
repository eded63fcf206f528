#include "tests/kit/PerturbedSchedule.h"

#include "osal/SchedulePoint.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <map>

namespace kit {
namespace {

using Kind = PerturbedSchedule::Step::Kind;

bool Same(const PerturbedSchedule::Step &a, const PerturbedSchedule::Step &b) {
   return a.kind == b.kind && a.restUs == b.restUs;
}

TEST(PerturbedSchedule, DecidesTheSameForTheSameSeedThreadAndStep) {
   int differentSeed = 0;
   int differentThread = 0;
   for (uint64_t step = 0; step < 1000; ++step) {
      const auto decided = PerturbedSchedule::Decide(42, 3, step);
      EXPECT_TRUE(Same(decided, PerturbedSchedule::Decide(42, 3, step)));
      differentSeed += Same(decided, PerturbedSchedule::Decide(43, 3, step)) ? 0 : 1;
      differentThread += Same(decided, PerturbedSchedule::Decide(42, 4, step)) ? 0 : 1;
   }
   EXPECT_GT(differentSeed, 100);
   EXPECT_GT(differentThread, 100);
}

TEST(PerturbedSchedule, GoesOnYieldsAndRestsShortly) {
   std::map<Kind, int> seen;
   for (uint64_t step = 0; step < 8000; ++step) {
      const auto decided = PerturbedSchedule::Decide(1, 0, step);
      ++seen[decided.kind];
      const bool rests = decided.kind == Kind::Rest;
      EXPECT_EQ(rests, decided.restUs != 0);
      EXPECT_LE(decided.restUs, 100U);
   }
   EXPECT_NEAR(seen[Kind::GoOn], 4000, 300);
   EXPECT_NEAR(seen[Kind::Yield], 3000, 300);
   EXPECT_NEAR(seen[Kind::Rest], 1000, 300);
}

TEST(PerturbedSchedule, ReadsASeedAndNothingElse) {
   EXPECT_EQ(PerturbedSchedule::ParseSeed("0"), 0U);
   EXPECT_EQ(PerturbedSchedule::ParseSeed("18446744073709551615"), UINT64_MAX);
   for (const char *const bad : {"", "x", "7x", " 7", "-1", "18446744073709551616"}) {
      EXPECT_EQ(PerturbedSchedule::ParseSeed(bad), std::nullopt) << bad;
   }
   EXPECT_EQ(PerturbedSchedule::ParseSeed(nullptr), std::nullopt);
}

TEST(PerturbedSchedule, TakesTheSeedOfTheEnvironment) {
   setenv("MAVR_SCHEDULE_SEED", "4711", 1);
   EXPECT_EQ(PerturbedSchedule().Seed(), 4711U);
   unsetenv("MAVR_SCHEDULE_SEED");
}

TEST(PerturbedSchedule, NamesProgramAndTestInTheCommand) {
   const std::string command = PerturbedSchedule::RepeatCommand(99);
   EXPECT_EQ(command.rfind("MAVR_SCHEDULE_SEED=99 ", 0), 0U) << command;
   EXPECT_NE(command.find(" --gtest_filter=PerturbedSchedule.NamesProgramAndTestInTheCommand"), std::string::npos)
      << command;
}

#ifdef MAVR_SANITIZED

TEST(PerturbedSchedule, IsInForceForItsLifetime) {
   ASSERT_EQ(osal::gScheduleHook.load(), nullptr);
   {
      const PerturbedSchedule schedule;
      EXPECT_NE(osal::gScheduleHook.load(), nullptr);
      osal::schedulePoint();
   }
   EXPECT_EQ(osal::gScheduleHook.load(), nullptr);
}

TEST(PerturbedScheduleDeathTest, PrintsTheCommandWhenTheTestFails) {
   testing::GTEST_FLAG(death_test_style) = "threadsafe";
   setenv("MAVR_SCHEDULE_SEED", "4711", 1);
   const auto fail = [] {
      {
         const PerturbedSchedule schedule;
         ADD_FAILURE();
      }
      std::exit(3);
   };
   EXPECT_EXIT(fail(), testing::ExitedWithCode(3), "to repeat: MAVR_SCHEDULE_SEED=4711 .*gtest_filter=PerturbedSched");
}

#else

TEST(PerturbedSchedule, DoesNothingWhereThePlacesAreNotMarked) {
   const PerturbedSchedule schedule;
   EXPECT_EQ(osal::gScheduleHook.load(), nullptr);
}

#endif

} // namespace
} // namespace kit
