#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/osrelease.h"
#include "lib/corvanebase/text.h"

#include "osal/Clock.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <sys/types.h>
#include <sys/utsname.h>

namespace corvanebase {
namespace {

constexpr std::string_view kKey = "PRETTY_NAME=";

// The text without its quotes and without the backslashes that protect characters inside them.
std::string Unquoted(std::string_view text) {
   char quote = '\0';
   if (!text.empty() && (text.front() == '"' || text.front() == '\'')) {
      quote = text.front();
      text.remove_prefix(1);
   }
   std::string plain;
   for (size_t at = 0; at < text.size() && (quote == '\0' || text[at] != quote); ++at) {
      if (text[at] == '\\' && quote != '\'' && at + 1 < text.size()) {
         ++at;
      }
      const auto byte = static_cast<unsigned char>(text[at]);
      plain += byte < 0x20 || byte == 0x7F ? ' ' : text[at];
   }
   return plain;
}

} // namespace

std::string DistributionName(std::string_view osRelease) {
   while (!osRelease.empty()) {
      const size_t end = osRelease.find('\n');
      const std::string_view line = osRelease.substr(0, end);
      if (line.substr(0, kKey.size()) == kKey) {
         return Unquoted(line.substr(kKey.size()));
      }
      osRelease.remove_prefix(end == std::string_view::npos ? osRelease.size() : end + 1);
   }
   return {};
}

} // namespace corvanebase

namespace {

// What the distribution calls itself; empty on a system that has no such file.
std::string ReadDistributionName() {
   for (const char *const path : {"/etc/os-release", "/usr/lib/os-release"}) {
      FileIODescriptor file;
      if (FileIO_Open(&file, path, FILEIO_ACCESS_READ, FILEIO_OPEN) != FILEIO_SUCCESS) {
         continue;
      }
      std::array<char, 8192> content{};
      size_t length = 0;
      FileIO_Read(&file, content.data(), content.size(), &length);
      FileIO_Close(&file);
      return corvanebase::DistributionName({content.data(), length});
   }
   return {};
}

char *DescribeSystem() {
   utsname system{};
   if (uname(&system) != 0) {
      return nullptr;
   }
   std::string description = std::string(system.sysname) + " " + system.release + " ";
   if (const std::string distribution = ReadDistributionName(); !distribution.empty()) {
      description += distribution + " ";
   }
   return strdup((description + system.machine).c_str());
}

} // namespace

uint64_t Hostinfo_SystemTimerNS(void) {
   return osal::Clock::current().monotonicNs();
}

int Hostinfo_GetSystemBitness(void) {
   if (sizeof(void *) == 8) {
      return 64;
   }
   utsname system{};
   const bool wide = uname(&system) == 0 && std::string_view(system.machine).find("64") != std::string_view::npos;
   return wide ? 64 : 32;
}

char *Hostinfo_GetOSDetailedData(void) {
   try {
      return DescribeSystem();
   } catch (const std::bad_alloc &) {
      return nullptr;
   }
}

// Nothing is recorded: the system answers for one process at a time, which is never out of date.
struct HostinfoProcessSnapshot {};

HostinfoProcessSnapshot *Hostinfo_AcquireProcessSnapshot(void) {
   static HostinfoProcessSnapshot snapshot;
   return &snapshot;
}

int Hostinfo_QueryProcessSnapshot(const HostinfoProcessSnapshot * /*snapshot*/, uint32_t pid) {
   // Zero and what would be negative mean groups of processes to kill; no process has such an id.
   if (pid == 0 || pid > static_cast<uint32_t>(std::numeric_limits<pid_t>::max())) {
      return 0;
   }
   return kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH ? 1 : 0;
}

void Hostinfo_ReleaseProcessSnapshot(HostinfoProcessSnapshot * /*snapshot*/) {}
