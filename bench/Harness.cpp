#include "bench/Harness.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>

namespace bench {
namespace {

constexpr double kSampleNs = 20e6;
constexpr uint64_t kMostTimes = uint64_t{1} << 40;

double WallNs() {
   return static_cast<double>(std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1));
}

double CpuNs() {
   timespec now{};
   clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
   return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// How many executions take about kSampleNs; warms up on the way.
uint64_t Calibrate(const Work &work) {
   for (uint64_t times = 1;;) {
      const double start = WallNs();
      work(times);
      const double took = std::max(WallNs() - start, 1.0);
      if (took >= kSampleNs / 4 || times >= kMostTimes) {
         return std::max<uint64_t>(1, static_cast<uint64_t>(static_cast<double>(times) * kSampleNs / took));
      }
      times *= took < kSampleNs / 40 ? 10 : 2;
   }
}

Sampler TimeEach(Work work, double (*clock)(), double nsPerUnit) {
   return [work = std::move(work), clock, nsPerUnit, times = uint64_t{0}]() mutable {
      if (times == 0) {
         times = Calibrate(work);
      }
      const double start = clock();
      work(times);
      return (clock() - start) / static_cast<double>(times) / nsPerUnit;
   };
}

void PrintCase(const char *role, const std::string &name, double value, const std::string &unit, double ratio) {
   std::printf("   %-6s %-34s %12.2f %-3s   ours is %.2f times that\n", role, name.c_str(), value, unit.c_str(), ratio);
}

[[noreturn]] void EndWithUsage(const char *program, const std::string &problem) {
   std::fprintf(stderr, "%s: %s\nusage: %s [--json FILE] [--only NAME-PREFIX]\n", program, problem.c_str(), program);
   std::exit(2);
}

} // namespace

Sampler NanosecondsEach(Work work) {
   return TimeEach(std::move(work), WallNs, 1);
}
Sampler MicrosecondsEach(Work work) {
   return TimeEach(std::move(work), WallNs, 1e3);
}
Sampler MillisecondsEach(Work work) {
   return TimeEach(std::move(work), WallNs, 1e6);
}
Sampler CpuNanosecondsEach(Work work) {
   return TimeEach(std::move(work), CpuNs, 1);
}

double Median(std::vector<double> values) {
   if (values.empty()) {
      return 0;
   }
   std::sort(values.begin(), values.end());
   const size_t middle = values.size() / 2;
   return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Report::Report(int argc, char **argv) {
   for (int i = 1; i < argc; ++i) {
      const std::string argument = argv[i];
      if (argument != "--json" && argument != "--only") {
         EndWithUsage(argv[0], "unknown argument " + argument);
      }
      if (i + 1 == argc) {
         EndWithUsage(argv[0], argument + " needs a value");
      }
      (argument == "--json" ? mJsonFile : mOnly) = argv[++i];
   }
}

bool Report::Wants(std::string_view name) const {
   return name.substr(0, mOnly.size()) == mOnly;
}

void Report::Run(Row row) {
   if (!Wants(row.name)) {
      return;
   }
   std::vector<Case> cases{{"", std::move(row.ours)}};
   const bool hasLimit = row.limit.has_value();
   if (hasLimit) {
      cases.push_back(std::move(*row.limit));
   }
   std::move(row.peers.begin(), row.peers.end(), std::back_inserter(cases));

   std::vector<std::vector<double>> values(cases.size());
   std::vector<std::vector<double>> ratios(cases.size());
   for (Case &each : cases) {
      (void)each.sample(); // warm-up
   }
   for (int round = 0; round < row.rounds; ++round) {
      // Each round begins with another case: what one leaves behind in the caches does not always hit the same one.
      for (size_t i = 0; i < cases.size(); ++i) {
         const size_t which = (i + static_cast<size_t>(round)) % cases.size();
         values[which].push_back(cases[which].sample());
      }
      for (size_t i = 1; i < cases.size(); ++i) {
         ratios[i].push_back(values[i].back() > 0 ? values[0].back() / values[i].back() : 0);
      }
   }

   Result result{row.name, row.unit, Median(values[0]), std::nullopt, {}};
   std::printf("%s: %.2f %s\n", row.name.c_str(), result.ours, row.unit.c_str());
   for (size_t i = 1; i < cases.size(); ++i) {
      const bool isLimit = i == 1 && hasLimit;
      const double value = Median(values[i]);
      PrintCase(isLimit ? "limit" : "peer", cases[i].name, value, row.unit, Median(ratios[i]));
      if (isLimit) {
         result.limit = {cases[i].name, value};
      } else {
         result.peers.emplace_back(cases[i].name, value);
      }
   }
   std::fflush(stdout);
   mResults.push_back(std::move(result));
}

void Report::CannotRun(std::string_view name, std::string_view reason) {
   if (!Wants(name)) {
      return;
   }
   std::fprintf(stderr, "%.*s: not measured: %.*s\n", static_cast<int>(name.size()), name.data(),
                static_cast<int>(reason.size()), reason.data());
   mTrouble = true;
}

int Report::Finish() {
   if (!mJsonFile.empty()) {
      nlohmann::ordered_json rows = nlohmann::ordered_json::array();
      for (const Result &result : mResults) {
         nlohmann::ordered_json row{{"name", result.name}, {"unit", result.unit}, {"ours", result.ours}};
         if (result.limit) {
            row["limit"] = result.limit->second;
            row["limitName"] = result.limit->first;
         }
         row["peers"] = nlohmann::ordered_json::object();
         for (const auto &[peer, value] : result.peers) {
            row["peers"][peer] = value;
         }
         rows.push_back(std::move(row));
      }
      std::ofstream out(mJsonFile, std::ios::binary | std::ios::trunc);
      out << rows.dump(2) << "\n";
      if (!out.flush()) {
         std::fprintf(stderr, "cannot write %s\n", mJsonFile.c_str());
         mTrouble = true;
      }
   }
   return mTrouble ? 1 : 0;
}

} // namespace bench
