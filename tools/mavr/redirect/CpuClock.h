#pragma once

#include "osal/Clock.h"

#include <sys/resource.h>

#include <cstdint>

namespace mavr::redirect {

/// What this process has used of the processors since it was made, and how long that took. Any thread.
class CpuClock {
public:
   CpuClock()
       : mStartUsed(UsedSeconds())
       , mStartNs(osal::Clock::current().monotonicNs()) {}

   [[nodiscard]] double Used() const { return UsedSeconds() - mStartUsed; }
   [[nodiscard]] double Wall() const {
      return static_cast<double>(osal::Clock::current().monotonicNs() - mStartNs) / 1e9;
   }

private:
   static double UsedSeconds() {
      rusage usage{};
      getrusage(RUSAGE_SELF, &usage);
      const auto seconds = [](const timeval &time) {
         return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
      };
      return seconds(usage.ru_utime) + seconds(usage.ru_stime);
   }

   double mStartUsed;
   uint64_t mStartNs;
};

} // namespace mavr::redirect
