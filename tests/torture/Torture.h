#pragma once

#include "tests/kit/Faults.h"
#include "tests/kit/SystemFaults.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// What the torture programs share: how inner calls are made to fail, which of them a run tries, what it counts.
///
/// A run is short, a sample for every change, or long with MAVR_TORTURE=long in the environment: every call, all
/// rounds.
namespace torture {

[[nodiscard]] bool IsLong();
/// `longForm` in a long run, else `shortForm`; a sanitizer's short run does a quarter of it.
[[nodiscard]] uint64_t Rounds(uint64_t longForm, uint64_t shortForm);

/// Adds to a figure of this run: "cases". At the end of the program each is printed, "figure cases 1234", where
/// script/torture collects them.
void Count(const char *figure, uint64_t by = 1);

/// One way in which inner calls fail.
struct Way {
   kit::Fault fault;
   kit::SystemFault system; ///< of Fault::SystemCall
   kit::Repeat repeat;

   [[nodiscard]] std::string Name() const; ///< "system call ENOSPC, from then on"
};
/// System calls with each of ENOSPC, EIO, EINTR, EMFILE, EACCES, ENOENT and a short write, once and from then on.
[[nodiscard]] std::vector<Way> SystemCallWays();
/// Those, and every other kind of fault, once and from then on.
[[nodiscard]] std::vector<Way> AllWays();

/// The nth call of a way fails while this lives.
class Fault {
public:
   Fault(const Way &way, uint64_t nth);
   [[nodiscard]] bool Struck() const;
   void Disarm();

private:
   std::optional<kit::FailSystemCall> mSystem;
   std::optional<kit::FailNth> mOther;
};

/// The n that a run tries behind `nth`: the next one in a long run; in a short one so for the first few, and then
/// further and further ones.
[[nodiscard]] uint64_t NextNth(uint64_t nth);

/// Calls `attempt(nth)`, which says whether its fault has struck; the first that does not ends the row, as n has gone
/// past the last call.
template <typename Attempt>
void ForEachNth(Attempt attempt) {
   for (uint64_t nth = 1; attempt(nth); nth = NextNth(nth)) {
   }
}

/// How often a call may last too long in a row: a machine is too busy now and then, a slow call is slow each time.
inline constexpr int kBusyMoments = 3;

/// A heap block may be some bytes larger than what was asked for; over a course of cases a leak adds up to more.
inline constexpr uint64_t kHeapUnrest = 512;

/// What must be the same before a case and after it.
struct Balance {
   size_t descriptors = 0;
   size_t threads = 0;
   uint64_t heapBytes = 0; ///< in use; 0 where a sanitizer counts leaks instead

   [[nodiscard]] static Balance Now();
};

/// Runs `body` in a process of its own, which starts with what this one holds now. Returns what it reports with
/// `Complain`, what it died of, or the empty text.
class Child {
public:
   using Complain = std::function<void(const std::string &)>;
   [[nodiscard]] static std::string Run(const std::function<void(const Complain &)> &body);
};

} // namespace torture
