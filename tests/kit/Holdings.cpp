#include "tests/kit/Holdings.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace kit {

Holdings Holdings::Now() {
   const auto count = [](const char *folder) {
      return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
   };
   Holdings now{count("/proc/self/fd"), count("/proc/self/task")};
   std::ifstream status("/proc/self/status");
   for (std::string line; std::getline(status, line);) {
      if (line.starts_with("VmRSS:")) {
         now.residentKb = std::stoul(line.substr(6));
      }
   }
#if defined(__GLIBC__) && !defined(MAVR_SANITIZED)
   now.allocatedKb = mallinfo2().uordblks / 1024;
#endif
   return now;
}

Holdings Holdings::After(const Holdings &former) {
   const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
   Holdings now = Now();
   while (now.threads > former.threads && std::chrono::steady_clock::now() < limit) {
      std::this_thread::yield();
      now = Now();
   }
   return now;
}

} // namespace kit
