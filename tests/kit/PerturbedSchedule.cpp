#include "tests/kit/PerturbedSchedule.h"

#include "osal/SchedulePoint.h"

#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <pthread.h>
#include <random>
#include <system_error>
#include <thread>

namespace kit {
namespace {

constexpr const char *kSeedVariable = "MAVR_SCHEDULE_SEED";

std::atomic<uint64_t> gSeed{0};
std::atomic<uint32_t> gSchedules{0}; // so that a thread that outlives a schedule counts afresh in the next
std::atomic<uint32_t> gThreads{0};

struct ThreadPlace {
   uint32_t schedule = 0;
   uint32_t thread = 0;
   uint64_t step = 0;
};
thread_local ThreadPlace tPlace;

uint64_t Mix(uint64_t value) {
   value += 0x9E3779B97F4A7C15;
   value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
   value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
   return value ^ (value >> 31);
}

// Rests are real time, whichever clock a test has put in force: only the order of things is disturbed.
void Perturb() {
   if (const uint32_t schedule = gSchedules.load(); tPlace.schedule != schedule) {
      tPlace = {schedule, gThreads.fetch_add(1), 0};
   }
   const PerturbedSchedule::Step step = PerturbedSchedule::Decide(gSeed.load(), tPlace.thread, tPlace.step++);
   int cancelState = PTHREAD_CANCEL_ENABLE; // a rest must not be a cancellation point where the place itself is none
   pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
   switch (step.kind) {
   case PerturbedSchedule::Step::Kind::GoOn:
      break;
   case PerturbedSchedule::Step::Kind::Yield:
      std::this_thread::yield();
      break;
   case PerturbedSchedule::Step::Kind::Rest:
      std::this_thread::sleep_for(std::chrono::microseconds(step.restUs));
      break;
   }
   pthread_setcancelstate(cancelState, nullptr);
}

uint64_t ChosenSeed() {
   const char *const given = std::getenv(kSeedVariable);
   if (const auto seed = PerturbedSchedule::ParseSeed(given)) {
      return *seed;
   }
   EXPECT_EQ(given, nullptr) << kSeedVariable << " is not a number";
   return std::random_device{}();
}

} // namespace

PerturbedSchedule::PerturbedSchedule()
    : mSeed(ChosenSeed()) {
#ifdef MAVR_SANITIZED
   std::fprintf(stderr, "[ SCHEDULE ] seed %llu\n", static_cast<unsigned long long>(mSeed));
   gSeed.store(mSeed);
   gThreads.store(0);
   gSchedules.fetch_add(1);
   osal::gScheduleHook.store(Perturb);
#else
   static_cast<void>(Perturb);
#endif
}

PerturbedSchedule::~PerturbedSchedule() {
#ifdef MAVR_SANITIZED
   osal::gScheduleHook.store(nullptr);
   if (testing::Test::HasFailure()) {
      std::fprintf(stderr, "[ SCHEDULE ] to repeat: %s\n", RepeatCommand(mSeed).c_str());
   }
#endif
}

PerturbedSchedule::Step PerturbedSchedule::Decide(uint64_t seed, uint32_t thread, uint64_t step) {
   const uint64_t drawn = Mix(Mix(Mix(seed) + thread) + step);
   switch (drawn % 8) {
   case 0:
      return {Step::Kind::Rest, static_cast<uint32_t>((drawn >> 8) % 100) + 1};
   case 1:
   case 2:
   case 3:
      return {Step::Kind::Yield, 0};
   default:
      return {};
   }
}

std::optional<uint64_t> PerturbedSchedule::ParseSeed(const char *text) {
   if (text == nullptr) {
      return std::nullopt;
   }
   uint64_t seed = 0;
   const char *const end = text + std::strlen(text);
   const auto [rest, error] = std::from_chars(text, end, seed);
   return error == std::errc{} && rest == end ? std::optional(seed) : std::nullopt;
}

std::string PerturbedSchedule::RepeatCommand(uint64_t seed) {
   std::error_code error;
   const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
   std::string command = kSeedVariable + ("=" + std::to_string(seed)) + " ";
   command += error ? std::string("THIS_TEST_PROGRAM") : program.string();
   if (const testing::TestInfo *const test = testing::UnitTest::GetInstance()->current_test_info(); test != nullptr) {
      command += std::string(" --gtest_filter=") + test->test_suite_name() + "." + test->name();
   }
   return command;
}

} // namespace kit
