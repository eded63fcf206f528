// Strings between the in-memory UTF-8 and UTF-16 on the wire, the whole of WriteString and ReadString with their
// cursor, beside ICU into a buffer that is there already, and beside a copy of what is read.

#include "bench/Harness.h"

#include "lib/mfw/messageframework/wirestring.h"

#include <benchmark/benchmark.h>
#include <unicode/ustring.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr size_t kSize = 64 << 10;
constexpr size_t kShortSize = 24;

// One string in all its forms, with room to write it again.
struct Sample {
   explicit Sample(std::string_view utf8)
       : text(utf8.data(), utf8.size())
       , wire(utf8.size() * 2)
       , room(utf8.size() * 4)
       , units(utf8.size()) {
      CORE::bytecursor cursor;
      cursor.Init(wire.data(), static_cast<uint32_t>(wire.size()));
      if (!CORE::WriteString(text, CORE::Utf16, cursor, chars)) {
         std::abort();
      }
      std::memcpy(units.data(), wire.data(), size_t{chars} * 2);
   }

   CORE::corestring text;
   CORE::corestring again;
   uint32_t chars = 0;
   std::vector<uint8_t> wire;   // the string as UTF-16
   std::vector<uint8_t> room;   // for anything
   std::vector<char16_t> units; // as wire
};

// ASCII alone, or a text as it comes: mostly ASCII letters, with Latin, Greek, CJK and emoji between them.
std::string Repeated(std::string_view piece, size_t size) {
   std::string text;
   while (text.size() + piece.size() <= size) {
      text += piece;
   }
   return text;
}
constexpr std::string_view kAscii = "The quick brown fox jumps over the lazy dog. ";

std::string Mixed(size_t size) {
   constexpr std::string_view kCharacters[] = {"a",      "e",      "n",      " ",      "t",      "\u00E9",    "\u00FC",
                                               "\u03B1", "\u0416", "\u20AC", "\u65E5", "\u672C", "\U0001F600"};
   std::string text;
   uint32_t state = 1;
   while (text.size() + 4 <= size) {
      state = state * 1664525 + 1013904223;
      text += kCharacters[(state >> 16) % std::size(kCharacters)];
   }
   return text;
}

void Write(Sample &sample) {
   CORE::bytecursor cursor;
   cursor.Init(sample.room.data(), static_cast<uint32_t>(sample.room.size()));
   uint32_t chars = 0;
   benchmark::DoNotOptimize(CORE::WriteString(sample.text, CORE::Utf16, cursor, chars));
   benchmark::ClobberMemory();
}

void Read(Sample &sample) {
   CORE::bytecursor cursor;
   cursor.Init(sample.wire.data(), static_cast<uint32_t>(sample.wire.size()));
   benchmark::DoNotOptimize(CORE::ReadString(sample.again, cursor, sample.chars, CORE::Utf16));
   benchmark::ClobberMemory();
}

void IcuWrite(Sample &sample) {
   UErrorCode status = U_ZERO_ERROR;
   int32_t length = 0;
   u_strFromUTF8(reinterpret_cast<UChar *>(sample.room.data()), static_cast<int32_t>(sample.room.size() / 2), &length,
                 sample.text.Text(), static_cast<int32_t>(sample.text.Length()), &status);
   benchmark::DoNotOptimize(length);
   benchmark::ClobberMemory();
}

void IcuRead(Sample &sample) {
   UErrorCode status = U_ZERO_ERROR;
   int32_t length = 0;
   u_strToUTF8(reinterpret_cast<char *>(sample.room.data()), static_cast<int32_t>(sample.room.size()), &length,
               sample.units.data(), static_cast<int32_t>(sample.chars), &status);
   benchmark::DoNotOptimize(length);
   benchmark::ClobberMemory();
}

void CopyText(Sample &sample) {
   std::memcpy(sample.room.data(), sample.text.Text(), sample.text.Length());
   benchmark::ClobberMemory();
}

void CopyUnits(Sample &sample) {
   std::memcpy(sample.room.data(), sample.wire.data(), size_t{sample.chars} * 2);
   benchmark::ClobberMemory();
}

// The steps one behind the other, without a call through a pointer between them.
template <void (*...Steps)(Sample &)>
bench::Sampler Timed(Sample &sample) {
   return bench::CpuNanosecondsEach([&sample](uint64_t times) {
      for (; times > 0; --times) {
         (Steps(sample), ...);
      }
   });
}

bench::Row RowOf(const char *name, bench::Sampler ours, bench::Sampler copy, bench::Sampler icu) {
   return {.name = name,
           .unit = "ns",
           .ours = std::move(ours),
           .limit = bench::Case{"memcpy", std::move(copy)},
           .peers = {{"ICU", std::move(icu)}}};
}

} // namespace

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
   Sample ascii(Repeated(kAscii, kSize));
   Sample mixed(Mixed(kSize));
   Sample brief(Repeated("abcdefgh", kShortSize));
   report.Run(RowOf("wire.8to16.ascii", Timed<Write>(ascii), Timed<CopyText>(ascii), Timed<IcuWrite>(ascii)));
   report.Run(RowOf("wire.8to16.mixed", Timed<Write>(mixed), Timed<CopyText>(mixed), Timed<IcuWrite>(mixed)));
   report.Run(RowOf("wire.16to8.ascii", Timed<Read>(ascii), Timed<CopyUnits>(ascii), Timed<IcuRead>(ascii)));
   report.Run(RowOf("wire.16to8.mixed", Timed<Read>(mixed), Timed<CopyUnits>(mixed), Timed<IcuRead>(mixed)));
   // There and back: the two strings of one exchange.
   report.Run(RowOf("wire.short", Timed<Write, Read>(brief), Timed<CopyText, CopyUnits>(brief),
                    Timed<IcuWrite, IcuRead>(brief)));
   return report.Finish();
}
