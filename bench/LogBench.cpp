// One line of 100 bytes into the log file, beside a bare write(2) of the same bytes and beside spdlog with a flush for
// each line; the same with two threads; and a line that the level lets not through.

#include "bench/Harness.h"

#include "lib/log/Log.h"
#include "tests/kit/TempDir.h"

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

constexpr size_t kLineSize = 100;
constexpr LogRouting kFilteredLevel = 8; // "debug", where the file takes "info"
constexpr off_t kLargestFile = 64 << 20;

// What the log's prefix leaves of a line, and what spdlog's does.
const std::string kOurText(kLineSize - 1 - std::string("2026-11-12T18:30:00.123Z In(05) bench_log ").size(), 'x');
const std::string kSpdlogText(kLineSize - 1 - std::string("2026-11-12T18:30:00.123Z I bench_log ").size(), 'x');

// Half of the executions on each of two threads.
bench::Work OnTwoThreads(bench::Work work) {
   return [work = std::move(work)](uint64_t times) {
      std::thread other([&] { work(times / 2); });
      work(times - times / 2);
      other.join();
   };
}

bench::Work Lines() {
   return [](uint64_t times) {
      for (; times > 0; --times) {
         Log_Info("%s", kOurText.c_str());
      }
   };
}

bench::Work Writes(int descriptor) {
   return [descriptor, line = std::string(kLineSize - 1, 'x') + "\n"](uint64_t times) {
      for (; times > 0; --times) {
         benchmark::DoNotOptimize(write(descriptor, line.data(), line.size()));
      }
   };
}

bench::Work SpdlogLines(const std::shared_ptr<spdlog::logger> &log) {
   return [log](uint64_t times) {
      for (; times > 0; --times) {
         log->info("{}", kSpdlogText);
      }
   };
}

bench::Work FilteredLines() {
   return [](uint64_t times) {
      for (; times > 0; --times) {
         Log_Level(kFilteredLevel, "%s %d", kOurText.c_str(), 7);
      }
   };
}

// Without end the files would fill the disk: each starts anew between samples.
bench::Sampler Bounded(std::string path, bench::Sampler sample) {
   return [path = std::move(path), sample = std::move(sample)] {
      if (std::filesystem::file_size(path) > static_cast<uintmax_t>(kLargestFile)) {
         std::filesystem::resize_file(path, 0);
      }
      return sample();
   };
}

} // namespace

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
   const kit::TempDir folder;
   setenv("XDG_STATE_HOME", (folder / "state").c_str(), 1);
   const std::string ours = folder / "ours.log";
   const std::string plain = folder / "plain.log";
   const std::string theirs = folder / "spdlog.log";
   if (Log_StartWithPath(nullptr, nullptr, ours.c_str()) == nullptr) {
      report.CannotRun("log", "the log file cannot be opened");
      return report.Finish();
   }
   Log_DisableThrottling();
   const int descriptor = open(plain.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_APPEND, 0600);
   const auto log = spdlog::basic_logger_mt("bench_log", theirs, true);
   log->set_pattern("%Y-%m-%dT%H:%M:%S.%eZ %L %n %v");
   log->flush_on(spdlog::level::info);

   report.Run({.name = "log.line",
               .unit = "ns",
               .ours = Bounded(ours, bench::NanosecondsEach(Lines())),
               .limit = bench::Case{"write(2)", Bounded(plain, bench::NanosecondsEach(Writes(descriptor)))},
               .peers = {{"spdlog flush", Bounded(theirs, bench::NanosecondsEach(SpdlogLines(log)))}}});
   report.Run(
      {.name = "log.line.2threads",
       .unit = "ns",
       .ours = Bounded(ours, bench::CpuNanosecondsEach(OnTwoThreads(Lines()))),
       .limit = bench::Case{"write(2)", Bounded(plain, bench::CpuNanosecondsEach(OnTwoThreads(Writes(descriptor))))},
       .peers = {{"spdlog flush", Bounded(theirs, bench::CpuNanosecondsEach(OnTwoThreads(SpdlogLines(log))))}}});
   report.Run({.name = "log.filtered",
               .unit = "ns",
               .ours = bench::NanosecondsEach(FilteredLines()),
               .peers = {{"spdlog", bench::NanosecondsEach([log](uint64_t times) {
                             for (; times > 0; --times) {
                                log->debug("{} {}", kSpdlogText, 7);
                             }
                          })}}});
   close(descriptor);
   return report.Finish();
}
