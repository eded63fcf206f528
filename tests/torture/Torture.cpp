#include "tests/torture/Torture.h"

#include "tests/kit/Holdings.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <malloc.h>
#include <map>
#include <mutex>
#include <string_view>
#include <sys/prctl.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

namespace torture {
namespace {

constexpr uint64_t kAllOf = 8;    // a short run tries the first ones all,
constexpr uint64_t kStepPart = 4; // and from there on goes on by a fourth each time
constexpr unsigned kPatienceSeconds = 60;
constexpr uint64_t kRoomForFiles = uint64_t{1} << 30; // a long run's; containers often have less

struct Figures {
   std::mutex lock;
   std::map<std::string, uint64_t> counts;
};

Figures &TheFigures() {
   static auto *const figures = new Figures;
   return *figures;
}

class PrintFigures final : public testing::Environment {
public:
   void TearDown() override {
      Figures &figures = TheFigures();
      const std::lock_guard guard(figures.lock);
      for (const auto &[name, count] : figures.counts) {
         std::printf("figure %s %llu\n", name.c_str(), static_cast<unsigned long long>(count));
      }
   }
};

const testing::Environment *const gPrintFigures = testing::AddGlobalTestEnvironment(new PrintFigures);

// Before anything else, the program starts itself again where its figures mean something: heap blocks go back at once,
// so that what is in use can be counted, and files are in memory, where thousands of flushes take no time.
[[gnu::constructor]] void StartInPlace(int /*count*/, char **arguments, char ** /*environment*/) {
   if (std::getenv("GLIBC_TUNABLES") == nullptr) {
      setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0", 1);
      struct statvfs memory {};
      if (statvfs("/dev/shm", &memory) == 0 && memory.f_bavail * memory.f_frsize >= kRoomForFiles) {
         setenv("TMPDIR", "/dev/shm", 0);
      }
      std::array<char, 4096> program{}; // by its own name, which its lines in the log carry
      if (readlink("/proc/self/exe", program.data(), program.size() - 1) > 0) {
         execv(program.data(), arguments);
      }
   }
}

const char *NameOf(kit::Fault fault) {
   switch (fault) {
   case kit::Fault::Allocation:
      return "allocation";
   case kit::Fault::ThreadCreation:
      return "thread";
   case kit::Fault::SystemCall:
      return "system call";
   case kit::Fault::Clock:
      return "clock";
   case kit::Fault::Device:
      return "device";
   case kit::Fault::Settings:
      return "settings";
   }
   return "?";
}

} // namespace

bool IsLong() {
   const char *const form = std::getenv("MAVR_TORTURE");
   return form != nullptr && std::string_view(form) == "long";
}

uint64_t Rounds(uint64_t longForm, uint64_t shortForm) {
#if defined(MAVR_SANITIZED)
   shortForm = shortForm / 4 + 1;
#endif
   return IsLong() ? longForm : shortForm;
}

void Count(const char *figure, uint64_t by) {
   Figures &figures = TheFigures();
   const std::lock_guard guard(figures.lock);
   figures.counts[figure] += by;
}

std::string Way::Name() const {
   std::string name = NameOf(fault);
   if (fault == kit::Fault::SystemCall) {
      name += system.shortWrite ? " short write" : std::string(" ") + strerrorname_np(system.error);
   }
   return name + (repeat == kit::Repeat::Once ? ", once" : ", from then on");
}

std::vector<Way> SystemCallWays() {
   std::vector<Way> ways;
   for (const kit::Repeat repeat : {kit::Repeat::Once, kit::Repeat::FromThenOn}) {
      for (const int error : {ENOSPC, EIO, EINTR, EMFILE, EACCES, ENOENT}) {
         ways.push_back({kit::Fault::SystemCall, {.error = error}, repeat});
      }
      ways.push_back({kit::Fault::SystemCall, {.shortWrite = true}, repeat});
   }
   return ways;
}

std::vector<Way> AllWays() {
   std::vector<Way> ways = SystemCallWays();
   for (const kit::Repeat repeat : {kit::Repeat::Once, kit::Repeat::FromThenOn}) {
      for (const kit::Fault fault : {kit::Fault::Allocation, kit::Fault::ThreadCreation, kit::Fault::Clock,
                                     kit::Fault::Device, kit::Fault::Settings}) {
         ways.push_back({fault, {}, repeat});
      }
   }
   return ways;
}

Fault::Fault(const Way &way, uint64_t nth) {
   if (way.fault == kit::Fault::SystemCall) {
      mSystem.emplace(nth, way.system, way.repeat);
   } else {
      mOther.emplace(way.fault, nth, way.repeat);
   }
}

bool Fault::Struck() const {
   return mSystem ? mSystem->Struck() : mOther->Struck();
}

void Fault::Disarm() {
   if (mSystem) {
      mSystem->Disarm();
   } else {
      mOther->Disarm();
   }
}

uint64_t NextNth(uint64_t nth) {
   return nth + (IsLong() || nth < kAllOf ? 1 : nth / kStepPart);
}

Balance Balance::Now() {
   const kit::Holdings holdings = kit::Holdings::Now();
   Balance now{holdings.descriptors, holdings.threads, 0};
#if !defined(MAVR_SANITIZED)
   now.heapBytes = mallinfo2().uordblks;
#endif
   return now;
}

std::string Child::Run(const std::function<void(const Complain &)> &body) {
   std::array<int, 2> ends{};
   if (pipe(ends.data()) != 0) {
      return "no pipe";
   }
   std::fflush(nullptr);
   const pid_t child = fork();
   if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(ends[0]);
      alarm(kPatienceSeconds); // a hang is an end by SIGALRM
      body([&](const std::string &complaint) {
         const std::string line = complaint + "\n";
         if (write(ends[1], line.data(), line.size()) < 0) {
            _exit(1);
         }
      });
      std::fflush(nullptr);
      _exit(0);
   }
   close(ends[1]);
   std::string report;
   std::array<char, 4096> bytes{};
   for (ssize_t got = 0; (got = read(ends[0], bytes.data(), bytes.size())) > 0;) {
      report.append(bytes.data(), static_cast<size_t>(got));
   }
   close(ends[0]);
   int status = 0;
   if (child < 0 || waitpid(child, &status, 0) != child) {
      return "no child";
   }
   if (WIFSIGNALED(status)) {
      report += std::string("ended by ") + sigabbrev_np(WTERMSIG(status)) + "\n";
   } else if (WEXITSTATUS(status) != 0) {
      report += "ended with " + std::to_string(WEXITSTATUS(status)) + "\n";
   }
   return report;
}

} // namespace torture
