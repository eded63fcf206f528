// The guarded string beside std::string: texts that are built piece by piece, texts that are assigned to a held one,
// and texts that are made and dropped.

#include "bench/RuntimeBench.h"

#include "lib/mfw/common/corestring.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using CORE::corestring;

constexpr size_t kSizes[] = {10, 30, 100, 300, 1000, 3000, 10000};
constexpr size_t kPieces = 64; // of a text that is built

const std::string kSource(10000, 'x');

void Append(corestring &text, size_t size) {
   text.Append(kSource.data(), static_cast<ptrdiff_t>(size));
}
void Append(std::string &text, size_t size) {
   text.append(kSource.data(), size);
}
void Assign(corestring &text, size_t size) {
   text.Assign(kSource.data(), static_cast<ptrdiff_t>(size));
}
void Assign(std::string &text, size_t size) {
   text.assign(kSource.data(), size);
}

// Appends pieces of these sizes in turn; a text takes 64 and is dropped.
template <typename Text>
bench::Sampler Appends(std::vector<size_t> sizes) {
   return bench::NanosecondsEach([sizes = std::move(sizes)](uint64_t times) {
      size_t next = 0;
      while (times > 0) {
         Text text;
         for (size_t piece = 0; piece < kPieces && times > 0; ++piece, --times) {
            Append(text, sizes[next]);
            next = next + 1 < sizes.size() ? next + 1 : 0;
         }
         benchmark::DoNotOptimize(text);
      }
   });
}

template <typename Text>
bench::Sampler Assigns(std::vector<size_t> sizes) {
   return bench::NanosecondsEach([sizes = std::move(sizes)](uint64_t times) {
      size_t next = 0;
      Text text;
      for (; times > 0; --times) {
         Assign(text, sizes[next]);
         benchmark::DoNotOptimize(text);
         next = next + 1 < sizes.size() ? next + 1 : 0;
      }
   });
}

template <typename Text>
bench::Sampler Makes(size_t size) {
   return bench::NanosecondsEach([size](uint64_t times) {
      for (; times > 0; --times) {
         Text text(kSource.data(), size);
         benchmark::DoNotOptimize(text);
      }
   });
}

} // namespace

void StringRows(bench::Report &report) {
   const auto row = [&report](const std::string &name, bench::Sampler ours, bench::Sampler peer) {
      report.Run({.name = name, .unit = "ns", .ours = std::move(ours), .peers = {{"std::string", std::move(peer)}}});
   };
   // Mostly names and numbers, now and then a line, seldom a page.
   const std::vector<size_t> mix = {10, 30, 10, 100, 10, 30, 300, 10, 30, 100, 10, 1000};
   row("string.append", Appends<corestring>(mix), Appends<std::string>(mix));
   for (const size_t size : kSizes) {
      row("string.append." + std::to_string(size), Appends<corestring>({size}), Appends<std::string>({size}));
   }
   for (const size_t size : kSizes) {
      row("string.assign." + std::to_string(size), Assigns<corestring>({size}), Assigns<std::string>({size}));
   }
   // Up to 15 characters std::string has room in itself; one pointer has none.
   for (const size_t size : kSizes) {
      row("string.make." + std::to_string(size), Makes<corestring>(size), Makes<std::string>(size));
   }
}
