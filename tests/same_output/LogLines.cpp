// Log lines: what they begin with, how they are formatted, cut and masked, and those of a whole session of the ten
// functions on simulated devices, which are printed as they are.

#include "lib/log/LogLine.h"
#include "lib/log/LogTimeStamp.h"
#include "lib/mfw/common/bsd_vsnprintf.h"
#include "lib/mfw/common/logger.h"
#include "mmdr/mmdr.h"
#include "tests/kit/ManualClock.h"
#include "tests/kit/TempDir.h"
#include "tests/same_output/Report.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

using same::Digest;
using same::Fail;
using same::Seeded;

void PrintPrefixes() {
   Digest digest;
   LogLineHeader header{};
   LogStamp_Write({126, 10, 12, 18, 30, 0, 123}, &header.stamp);
   for (const char *const thread : {"", "main", "a thread with a name of 31 bytes"}) {
      std::snprintf(header.threadName, sizeof header.threadName, "%s", thread);
      for (uint32_t level = 0; level <= kLogLevelCount; ++level) {
         header.level = LogLevel_RowByNumber(level);
         for (unsigned flags = 0; flags < 64; ++flags) {
            header.continuation = (flags & 32) != 0;
            const LogPrefixFlags shown{(flags & 1) != 0, (flags & 2) != 0, (flags & 4) != 0, (flags & 8) != 0,
                                       (flags & 16) != 0};
            for (const size_t limit : {size_t{1}, size_t{30}, size_t{kLogPrefixLimit}}) {
               char prefix[kLogPrefixLimit];
               const size_t length = Log_FormatLinePrefix(shown, header, limit, prefix);
               digest.Add(std::string_view(prefix, length));
            }
         }
      }
   }
   digest.Print("log.prefixes");
}

void PrintStamps() {
   Digest digest;
   LogStampCache last;
   for (int month = 0; month < 12; ++month) {
      for (const int year : {70, 100, 126, 200}) {
         const LogBrokenTime time{year, month, 1 + 2 * month, 2 * month, 59 - month, month, 83 * month};
         LogTimeStamp stamp{};
         LogStamp_Write(time, &stamp);
         digest.Add(std::string(stamp.dateTime) + stamp.milliseconds + stamp.zone);
         last.fields = LogStamp_Pack(time);
         LogStamp_WriteElapsed(last, 1234567U * static_cast<uint64_t>(month), &stamp);
         digest.Add(std::string(stamp.dateTime) + stamp.milliseconds + stamp.zone);
      }
   }
   digest.Print("log.stamps");
}

void PrintCutsAndMasks() {
   Digest cuts;
   Digest masks;
   Seeded seeded(5);
   for (int i = 0; i < 2000; ++i) {
      std::string text;
      for (uint32_t letters = seeded.Below(40); letters > 0; --letters) {
         static constexpr const char *kPieces[] = {
            "t", "L", "v", "tlv", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x8E\xA5", "\xFF", "\x80", " "};
         text += kPieces[seeded.Below(10)];
      }
      std::string masked = text;
      Log_MaskText(masked.data(), masked.size());
      masks.Add(masked);
      std::string cut = text + std::string(2, '\0');
      cut.resize(Log_TruncateUtf8Line(2 + seeded.Below(60), cut.data()));
      cuts.Add(cut);
   }
   cuts.Print("log.cuts");
   masks.Print("log.masks");
}

__attribute__((format(printf, 2, 3))) void AddFormatted(Digest *digest, const char *format, ...) {
   for (const size_t room : {size_t{1}, size_t{9}, size_t{400}}) {
      char text[400];
      std::memset(text, 0, sizeof text);
      va_list args;
      va_start(args, format);
      digest->AddNumber(bsd_vsnprintf(text, room, format, args));
      va_end(args);
      digest->Add(std::string_view(text));
   }
}

void PrintFormats() {
   Digest digest;
   for (const long long number : {0LL, 1LL, -1LL, 42LL, -1234567LL, LLONG_MAX, LLONG_MIN}) {
      AddFormatted(&digest, "%lld|%20lld|%-20lld|%+lld|% lld|%020lld|%.5lld", number, number, number, number, number,
                   number, number);
      const auto bits = static_cast<unsigned long long>(number);
      AddFormatted(&digest, "%llu|%llx|%#llX|%llo|%#llo|%hhd|%hd", bits, bits, bits, bits, bits,
                   static_cast<signed char>(number), static_cast<short>(number));
   }
   for (const double number : {0.0, -0.0, 1.0, -1.5, 29.97, 1.0 / 3, 2.5, 3.5, 1e-300, 12345678.9, 1e22, DBL_MAX,
                               DBL_MIN, double{INFINITY}, -double{INFINITY}, double{NAN}}) {
      AddFormatted(&digest, "%f|%.0f|%10.2f|%-10.1f|%+.3f", number, number, number, number, number);
      AddFormatted(&digest, "%e|%.3E|%g|%G|%#g|%a", number, number, number, number, number, number);
   }
   for (const char *const text : {"", "Desk Camera", "\xC3\xA4\xC3\xB6\xC3\xBC", "\xF0\x9F\x8E\xA5"}) {
      AddFormatted(&digest, "%s|%20s|%-20s|%.3s|%c|%%", text, text, text, text, 'x');
   }
   for (const wchar_t *const text : {L"", L"Camera", L"\u00E4\u20AC\U0001F3A5"}) {
      AddFormatted(&digest, "%ls|%20ls|%-20ls|%.4ls|%lc", text, text, text, text, static_cast<wint_t>(0x20AC));
   }
   for (int level = logger::TRACE - 1; level <= logger::FATAL + 1; ++level) {
      digest.Add(logger::LevelName(level));
   }
   digest.Print("log.formats");
}

// Calls each of the ten functions, right and wrong. The codes go into the digest.
void UseTheLibrary(const kit::TempDir &folder, Digest *digest) {
   MmdrHandle *handle = nullptr;
   digest->AddNumber(Mmdr_Init(3, &handle));
   digest->AddNumber(Mmdr_Init(1, nullptr));
   digest->AddNumber(Mmdr_Init(1, &handle));
   digest->AddNumber(Mmdr_GetLibVersion());
   digest->AddNumber(Mmdr_IsValid(handle));
   for (int32_t type = 0; type <= 3; ++type) {
      uint32_t count = 0;
      std::vector<MmdrDevEntry> entries(8);
      for (const uint32_t size : {0U, 520U, 8U * 520}) {
         digest->AddNumber(Mmdr_EnumDevices(handle, type, size, reinterpret_cast<char *>(entries.data()), &count));
         digest->AddNumber(count);
      }
      for (const MmdrDevEntry &entry : entries) {
         digest->Add(std::string_view(entry.userId, sizeof entry.userId));
         digest->Add(std::string_view(entry.name, sizeof entry.name));
      }
      const std::string longId(300, 'x');
      for (const char *const id :
           {static_cast<const char *>(nullptr), "", longId.c_str(), static_cast<const char *>(entries[1].userId)}) {
         digest->AddNumber(Mmdr_SetPrefDev(handle, type, id, "a name"));
         for (int32_t select = 0; select <= 2; ++select) {
            char text[260] = {0};
            digest->AddNumber(Mmdr_GetPrefDev(handle, type, select, text));
            digest->Add(std::string_view(text));
         }
      }
   }
   for (const uint32_t option : {0U, 2U, 3U, 1U}) {
      digest->AddNumber(Mmdr_SetAudioInSelectOption(handle, option));
      uint32_t stored = 77;
      digest->AddNumber(Mmdr_GetAudioInSelectOption(handle, &stored));
      digest->AddNumber(stored);
   }
   // What goes wrong below is told by the log alone.
   kit::WriteFile(folder / "corvane/com.corvane.mavr.plist", "damaged");
   uint8_t enabled = 77;
   digest->AddNumber(Mmdr_IsEnabled(handle, &enabled));
   digest->AddNumber(enabled);
   Mmdr_Uninit(handle);
}

// The file without its label, which tells of process and machine.
void PrintSession() {
   const kit::TempDir folder;
   for (const char *const name : {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "HOME"}) {
      setenv(name, folder.Path().c_str(), 1);
   }
   setenv("MAVR_OSAL", "simulated", 1);
   unsetenv("MAVR_SIMULATION");
   std::filesystem::create_directory(folder / "corvane");
   kit::WriteFile(folder / "corvane/config.toml", "[MAVR.log]\nfileName = \"" + folder / "session.log" +
                                                     "\"\nfileLevel = \"debug\"\nuseThreadName = false\n");
   const kit::ManualClock clock;
   Digest digest;
   UseTheLibrary(folder, &digest);
   digest.Print("session.results");
   std::string lines = kit::ReadFile(folder / "session.log");
   const size_t start = lines.find("Host offset from UTC is");
   const size_t end = lines.find('\n', start);
   if (start == std::string::npos || end == std::string::npos) {
      Fail("the session has left no log");
   }
   lines.erase(0, end + 1);
   for (size_t at; (at = lines.find(folder.Path())) != std::string::npos;) {
      lines.replace(at, folder.Path().size(), "FOLDER");
   }
   std::fputs(lines.c_str(), stdout);
}

} // namespace

void same::PrintLogLines() {
   PrintPrefixes();
   PrintStamps();
   PrintCutsAndMasks();
   PrintFormats();
   PrintSession();
}
