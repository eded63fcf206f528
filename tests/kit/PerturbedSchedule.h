#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Another interleaving each time: threads yield or rest at the places that osal::schedulePoint() marks, by decisions
/// drawn from a seed.
///
///     TEST(Events, ...) {
///        const kit::PerturbedSchedule schedule;
///        ... threads ...
///     }
///
/// The seed is taken from MAVR_SCHEDULE_SEED, else drawn at random. It is printed at the start, so that a crash or a
/// hang shows it too, and after a failure once more with the one command that repeats the test with it. The same seed
/// gives each thread (in the order of their first marked place) the same decisions; what the machine adds to that stays
/// the machine's. Works in the sanitizer builds, which have the marks; in the others it does nothing.
namespace kit {

class PerturbedSchedule {
public:
   PerturbedSchedule();
   ~PerturbedSchedule();
   PerturbedSchedule(const PerturbedSchedule &) = delete;
   PerturbedSchedule &operator=(const PerturbedSchedule &) = delete;

   /// What a thread does at one marked place.
   struct Step {
      enum class Kind { GoOn, Yield, Rest };
      Kind kind = Kind::GoOn;
      uint32_t restUs = 0; ///< Rest: microseconds, 1 to 100
   };
   /// The decision for the `step`th marked place that the `thread`th thread comes to, both counted from 0.
   [[nodiscard]] static Step Decide(uint64_t seed, uint32_t thread, uint64_t step);

   /// The number in `text`; none when it is null or not a decimal number of 64 bits.
   [[nodiscard]] static std::optional<uint64_t> ParseSeed(const char *text);
   /// "MAVR_SCHEDULE_SEED=7 /path/of/this/test --gtest_filter=Suite.Test"
   [[nodiscard]] static std::string RepeatCommand(uint64_t seed);

   [[nodiscard]] uint64_t Seed() const { return mSeed; }

private:
   const uint64_t mSeed;
};

} // namespace kit
