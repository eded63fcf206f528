#include "bench/CpuShare.h"

#include <chrono>
#include <ctime>
#include <thread>

namespace bench {
namespace {

double Seconds(clockid_t which) {
   timespec now{};
   clock_gettime(which, &now);
   return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

} // namespace

double Now() {
   return Seconds(CLOCK_MONOTONIC);
}

double CpuPercent(double settling, double measured, const std::function<void(double until)> &pass) {
   pass(Now() + settling);
   const double wall = Now();
   const double used = Seconds(CLOCK_PROCESS_CPUTIME_ID);
   pass(wall + measured);
   return 100 * (Seconds(CLOCK_PROCESS_CPUTIME_ID) - used) / (Now() - wall);
}

void Idle(double until) {
   std::this_thread::sleep_for(std::chrono::duration<double>(until - Now()));
}

} // namespace bench
