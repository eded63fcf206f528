#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What every `bench_*` program shares: interleaved rounds, medians, a table for people and rows for `--json`.
///
/// A bench program states its rows and runs them:
///
///     int main(int argc, char **argv) {
///        bench::Report report(argc, argv);
///        report.Run({.name = "log.line",
///                    .unit = "ns",
///                    .ours = bench::NanosecondsEach([](uint64_t times) { for (; times > 0; --times) Line(); }),
///                    .limit = bench::Case{"write(2)", bench::NanosecondsEach(Writes)},
///                    .peers = {{"spdlog flush", bench::NanosecondsEach(SpdlogLines)}}});
///        return report.Finish();
///     }
///
/// Each round takes one sample of every case of a row, so that drift of the machine hits all of them alike; the ratio
/// that the table shows is the median of the rounds' own ratios. Keep a result from being optimised away with
/// benchmark::DoNotOptimize. Threads: one; what a case does inside is its own affair.
namespace bench {

/// One measurement, in the unit of its row.
using Sampler = std::function<double()>;
/// Does the measured thing so many times.
using Work = std::function<void(uint64_t times)>;

/// Wall time of one execution. The first sample finds out how many executions fill about 20 ms; later ones repeat that.
[[nodiscard]] Sampler NanosecondsEach(Work work);
[[nodiscard]] Sampler MicrosecondsEach(Work work);
[[nodiscard]] Sampler MillisecondsEach(Work work);

/// CPU time of the whole process, all threads, for one execution. Meaningful only where nothing else runs in it.
[[nodiscard]] Sampler CpuNanosecondsEach(Work work);

struct Case {
   std::string name; ///< for people: "write(2)", "spdlog flush"
   Sampler sample;
};

/// One line of the table, one object of the JSON list.
struct Row {
   std::string name; ///< fixed, other programs look for it: "log.line"
   std::string unit; ///< what the samplers return: "ns", "us", "ms", "%"
   Sampler ours;
   std::optional<Case> limit = std::nullopt; ///< what physics or the kernel ask for the same bytes
   std::vector<Case> peers = {};
   int rounds = 15;
};

/// Middle value; the mean of the two middle ones for an even number; 0 for none.
[[nodiscard]] double Median(std::vector<double> values);

/// Arguments, rows and outputs of one bench program.
///
/// Understands `--json FILE` and `--only NAME-PREFIX`; anything else ends the program with status 2.
class Report {
public:
   Report(int argc, char **argv);

   /// Whether `--only` lets any of the row names through; for skipping a costly preparation.
   [[nodiscard]] bool Wants(std::string_view name) const;

   /// Measures the row and prints its line, unless `--only` says otherwise.
   void Run(Row row);

   /// Says on standard error that the row is not measured, and why. Finish then returns 1: no row goes missing unseen.
   void CannotRun(std::string_view name, std::string_view reason);

   /// Writes the JSON file, if one is wanted. The program's exit status: 0, or 1 after trouble.
   [[nodiscard]] int Finish();

private:
   struct Result {
      std::string name;
      std::string unit;
      double ours = 0;
      std::optional<std::pair<std::string, double>> limit;
      std::vector<std::pair<std::string, double>> peers;
   };

   std::string mJsonFile;
   std::string mOnly;
   std::vector<Result> mResults;
   bool mTrouble = false;
};

} // namespace bench
