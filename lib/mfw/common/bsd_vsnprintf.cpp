#include "lib/mfw/common/bsd_vsnprintf.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <optional>
#include <string_view>
#include <type_traits>

namespace {

constexpr std::string_view kNullText = "(null)";
constexpr int kUnset = -1;
constexpr int kFromArgument = -2;

static_assert(sizeof(size_t) == sizeof(ptrdiff_t));

enum class Length { None, Char, Short, Long, LongLong, IntMax, Size, PtrDiff, LongDouble };

// One conversion of a format, without its '%'.
struct Directive {
   std::string_view flags;
   int width = kUnset;
   int precision = kUnset;
   std::string_view lengthText;
   Length length = Length::None;
   char conversion = '\0';
};

bool Contains(std::string_view set, char c) {
   return c != '\0' && set.find(c) != std::string_view::npos;
}
bool IsFloating(char conversion) {
   return Contains("fFeEgGaA", conversion);
}
bool IsFlag(char c) {
   return c == '-' || c == '+' || c == ' ' || c == '#' || c == '0' || c == '\'' || c == 'I';
}
bool IsSigned(char conversion) {
   return conversion == 'd' || conversion == 'i';
}
bool IsKnown(char conversion) {
   switch (conversion) {
   case 'd':
   case 'i':
   case 'u':
   case 'x':
   case 'X':
   case 'o':
   case 's':
   case 'S':
   case 'c':
   case 'C':
   case 'p':
   case 'm':
   case '%':
      return true;
   default:
      return IsFloating(conversion);
   }
}

bool IsWide(const Directive &directive) {
   return directive.conversion == 'S' || directive.conversion == 'C' ||
          (directive.length == Length::Long && (directive.conversion == 's' || directive.conversion == 'c'));
}

// A number or '*' at `at`; kUnset when there is neither.
int ParseNumber(const char *&at) {
   if (*at == '*') {
      ++at;
      return kFromArgument;
   }
   if (*at < '0' || *at > '9') {
      return kUnset;
   }
   int64_t number = 0;
   for (; *at >= '0' && *at <= '9'; ++at) {
      number = std::min<int64_t>(number * 10 + (*at - '0'), INT_MAX);
   }
   return static_cast<int>(number);
}

Length ParseLength(const char *&at) {
   const char first = *at;
   const bool twice = first != '\0' && at[1] == first;
   switch (first) {
   case 'h':
      at += twice ? 2 : 1;
      return twice ? Length::Char : Length::Short;
   case 'l':
      at += twice ? 2 : 1;
      return twice ? Length::LongLong : Length::Long;
   case 'j':
      ++at;
      return Length::IntMax;
   case 'z':
      ++at;
      return Length::Size;
   case 't':
      ++at;
      return Length::PtrDiff;
   case 'L':
      ++at;
      return Length::LongDouble;
   default:
      return Length::None;
   }
}

// What may stand between the '%' and the length.
void ParseLayout(const char *&at, Directive &directive) {
   const char *const flags = at;
   while (IsFlag(*at)) {
      ++at;
   }
   directive.flags = {flags, static_cast<size_t>(at - flags)};
   directive.width = ParseNumber(at);
   if (*at == '.') {
      ++at;
      directive.precision = ParseNumber(at);
      if (directive.precision == kUnset) {
         directive.precision = 0; // a point alone
      }
   }
}

// Reads the directive behind a '%' and moves `at` behind it. Nothing for one that is not handled here.
std::optional<Directive> ParseDirective(const char *&at) {
   Directive directive;
   const bool bare = *at >= 'a' && *at <= 'z';
   if (!bare) {
      ParseLayout(at, directive);
   }
   const char *const length = at;
   directive.length = ParseLength(at);
   directive.lengthText = {length, static_cast<size_t>(at - length)};
   directive.conversion = *at;
   if (!IsKnown(*at)) {
      return std::nullopt;
   }
   ++at;
   return directive;
}

// UTF-8 of one wide character; what is no character becomes U+FFFD.
std::string_view EncodeUtf8(char32_t code, std::array<char, 4> &bytes) {
   if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
      code = 0xFFFD;
   }
   const auto tail = [&](int shift) {
      return static_cast<char>(0x80U | ((code >> shift) & 0x3FU));
   };
   if (code < 0x80) {
      bytes = {static_cast<char>(code)};
      return {bytes.data(), 1};
   }
   if (code < 0x800) {
      bytes = {static_cast<char>(0xC0U | (code >> 6U)), tail(0)};
      return {bytes.data(), 2};
   }
   if (code < 0x10000) {
      bytes = {static_cast<char>(0xE0U | (code >> 12U)), tail(6), tail(0)};
      return {bytes.data(), 3};
   }
   bytes = {static_cast<char>(0xF0U | (code >> 18U)), tail(12), tail(6), tail(0)};
   return {bytes.data(), 4};
}

// The room of the caller, and how much text there has been in all.
class Output {
public:
   Output(char *buffer, size_t size)
       : mBuffer(buffer)
       , mRoom(size > 0 ? size - 1 : 0)
       , mTerminated(size > 0) {}

   void Put(std::string_view text) {
      if (mTotal < mRoom) {
         std::memcpy(mBuffer + mTotal, text.data(), std::min(text.size(), mRoom - mTotal));
      }
      mTotal += text.size();
   }

   void Pad(size_t count) {
      if (mTotal < mRoom) {
         std::memset(mBuffer + mTotal, ' ', std::min(count, mRoom - mTotal));
      }
      mTotal += count;
   }

   // By the platform, with a format of a single directive.
   template <class Value>
   bool Print(const char *directive, Value value) {
      // The directive is made here, out of sight of the compiler's check of formats; a pointer has no check.
      static constexpr int (*kPrint)(char *, size_t, const char *, ...) = &std::snprintf;
      const bool fits = mTotal < mRoom;
      const int length = kPrint(fits ? mBuffer + mTotal : nullptr, fits ? mRoom - mTotal + 1 : 0, directive, value);
      mTotal += static_cast<size_t>(std::max(length, 0));
      return length >= 0;
   }

   // The length of the whole text, which ends here; `ok` is false after a failure.
   int Finish(bool ok) {
      if (mTerminated) {
         mBuffer[std::min(mTotal, mRoom)] = '\0';
      }
      if (ok && mTotal > INT_MAX) {
         errno = EOVERFLOW;
         ok = false;
      }
      return ok ? static_cast<int>(mTotal) : -1;
   }

private:
   char *mBuffer;
   size_t mRoom; // without the terminator
   bool mTerminated;
   size_t mTotal = 0;
};

// The argument list in an object, so that functions can take arguments from it in turn.
class Arguments {
public:
   explicit Arguments(va_list args) { va_copy(mArgs, args); }
   ~Arguments() { va_end(mArgs); }
   Arguments(const Arguments &) = delete;
   Arguments &operator=(const Arguments &) = delete;

   template <class Value>
   Value Next() {
      return va_arg(mArgs, Value);
   }

private:
   va_list mArgs;
};

// Writes one directive after the other.
class Formatter {
public:
   Formatter(Output &output, Arguments &arguments)
       : mOutput(output)
       , mArguments(arguments) {}

   bool Print(Directive directive) {
      TakeNumbers(directive);
      switch (directive.conversion) {
      case '%':
         mOutput.Put("%");
         return true;
      case 's':
      case 'S':
         PrintString(directive);
         return true;
      case 'c':
      case 'C':
         return PrintCharacter(directive);
      case 'p':
         return PrintByPlatform(directive, mArguments.Next<void *>());
      case 'm':
         return PrintByPlatform(directive, 0);
      default:
         break;
      }
      if (IsFloating(directive.conversion)) {
         return directive.length == Length::LongDouble ? PrintFloating(directive, mArguments.Next<long double>())
                                                       : PrintFloating(directive, mArguments.Next<double>());
      }
      return IsSigned(directive.conversion) ? PrintInteger<std::make_signed_t>(directive)
                                            : PrintInteger<std::make_unsigned_t>(directive);
   }

   // The directives that most messages are made of, without anything between '%' and letter: they need no second look.
   // Moves `at` behind the one that it has written; false, and nothing done, for any other.
   bool PrintPlain(const char *&at) {
      switch (*at) {
      case 's': {
         const auto *const text = mArguments.Next<const char *>();
         mOutput.Put(text != nullptr ? std::string_view(text) : kNullText);
         break;
      }
      case 'd':
         PutNumber(mArguments.Next<int>(), 10);
         break;
      case 'u':
         PutNumber(mArguments.Next<unsigned>(), 10);
         break;
      // NOLINTNEXTLINE(bugprone-branch-clone): where size_t is no unsigned long, the two differ
      case 'l':
         if (at[1] != 'u') {
            return false;
         }
         ++at;
         PutNumber(mArguments.Next<unsigned long>(), 10);
         break;
      case 'z':
         if (at[1] != 'u') {
            return false;
         }
         ++at;
         PutNumber(mArguments.Next<size_t>(), 10);
         break;
      default:
         return false;
      }
      ++at;
      return true;
   }

private:
   template <class Value>
   void PutNumber(Value value, int base) {
      std::array<char, 24> digits;
      const char *const end = std::to_chars(digits.data(), digits.data() + digits.size(), value, base).ptr;
      mOutput.Put({digits.data(), static_cast<size_t>(end - digits.data())});
   }

   // Width and precision that come as arguments, in their order. A negative width means the left, a negative precision
   // none.
   void TakeNumbers(Directive &directive) {
      mLeft = Contains(directive.flags, '-');
      if (directive.width == kFromArgument) {
         const int width = mArguments.Next<int>();
         mLeft = mLeft || width < 0;
         directive.width = width == INT_MIN ? INT_MAX : std::abs(width);
      }
      if (directive.precision == kFromArgument) {
         directive.precision = std::max(mArguments.Next<int>(), kUnset);
      }
   }

   template <class Value>
   bool PrintByPlatform(const Directive &directive, Value value) {
      std::array<char, 64> text{};
      char *at = text.data();
      const auto put = [&](std::string_view part) {
         at = std::copy(part.begin(), part.end(), at);
      };
      const auto putNumber = [&](int number) {
         at = std::to_chars(at, text.data() + text.size(), number).ptr;
      };
      put("%");
      put(mLeft ? "-" : "");
      // Each flag once, however often it was said.
      for (const char flag : std::string_view("+ #0'I")) {
         if (Contains(directive.flags, flag)) {
            *at++ = flag;
         }
      }
      if (directive.width >= 0) {
         putNumber(directive.width);
      }
      if (directive.precision >= 0) {
         put(".");
         putNumber(directive.precision);
      }
      put(directive.lengthText);
      *at = directive.conversion;
      return mOutput.Print(text.data(), value);
   }

   template <template <class> class Signedness>
   bool PrintInteger(const Directive &directive) {
      switch (directive.length) {
      case Length::Long:
         return PutInteger(directive, mArguments.Next<Signedness<long>>());
      case Length::LongLong:
      case Length::LongDouble:
         return PutInteger(directive, mArguments.Next<Signedness<long long>>());
      case Length::IntMax:
         return PutInteger(directive, mArguments.Next<Signedness<intmax_t>>());
      case Length::None:
         return PutInteger(directive, mArguments.Next<Signedness<int>>());
      case Length::Size:
      case Length::PtrDiff:
         return PutInteger(directive, mArguments.Next<Signedness<ptrdiff_t>>());
      default:
         return PrintByPlatform(directive, mArguments.Next<Signedness<int>>());
      }
   }

   // A bare number is what most messages have; it is made here, which is quicker.
   template <class Value>
   bool PutInteger(const Directive &directive, Value value) {
      const bool bare = directive.flags.empty() && directive.width == kUnset && directive.precision == kUnset;
      if (!bare || directive.conversion == 'X') {
         return PrintByPlatform(directive, value);
      }
      PutNumber(value, directive.conversion == 'x' ? 16 : directive.conversion == 'o' ? 8 : 10);
      return true;
   }

   template <class Value>
   bool PrintFloating(const Directive &directive, Value value) {
      if (!std::isnan(value)) {
         return PrintByPlatform(directive, value);
      }
      PutPadded(directive, directive.conversion >= 'a' ? "nan" : "NAN");
      return true;
   }

   void PrintString(const Directive &directive) {
      if (IsWide(directive)) {
         const auto *const text = mArguments.Next<const wchar_t *>();
         text != nullptr ? PutWide(directive, text) : PutPadded(directive, Shortened(directive, kNullText));
         return;
      }
      const auto *const text = mArguments.Next<const char *>();
      if (text == nullptr) {
         PutPadded(directive, Shortened(directive, kNullText));
      } else if (directive.precision >= 0) {
         PutPadded(directive, {text, strnlen(text, static_cast<size_t>(directive.precision))});
      } else {
         PutPadded(directive, text);
      }
   }

   bool PrintCharacter(const Directive &directive) {
      if (!IsWide(directive)) {
         return PrintByPlatform(directive, mArguments.Next<int>());
      }
      std::array<char, 4> bytes{};
      PutPadded(directive, EncodeUtf8(static_cast<char32_t>(mArguments.Next<wint_t>()), bytes));
      return true;
   }

   static std::string_view Shortened(const Directive &directive, std::string_view text) {
      return directive.precision >= 0 ? text.substr(0, static_cast<size_t>(directive.precision)) : text;
   }

   void PutWide(const Directive &directive, const wchar_t *text) {
      const size_t limit = directive.precision >= 0 ? static_cast<size_t>(directive.precision) : SIZE_MAX;
      std::array<char, 4> bytes{};
      size_t length = 0;
      const wchar_t *end = text;
      // Nothing behind the precision is read: the text need not be terminated there.
      for (; length < limit && *end != L'\0'; ++end) {
         const size_t more = EncodeUtf8(static_cast<char32_t>(*end), bytes).size();
         if (more > limit - length) {
            break;
         }
         length += more;
      }
      Pad(directive, length, !mLeft);
      for (const wchar_t *at = text; at != end; ++at) {
         mOutput.Put(EncodeUtf8(static_cast<char32_t>(*at), bytes));
      }
      Pad(directive, length, mLeft);
   }

   void PutPadded(const Directive &directive, std::string_view text) {
      Pad(directive, text.size(), !mLeft);
      mOutput.Put(text);
      Pad(directive, text.size(), mLeft);
   }

   void Pad(const Directive &directive, size_t length, bool here) {
      const size_t width = directive.width >= 0 ? static_cast<size_t>(directive.width) : 0;
      if (here && width > length) {
         mOutput.Pad(width - length);
      }
   }

   Output &mOutput;
   Arguments &mArguments;
   bool mLeft = false;
};

// The length of the whole text, a negative number for a failure, or nothing for a format that has something in it which
// only the platform's function knows.
std::optional<int> Format(char *buffer, size_t size, const char *format, va_list args) {
   Output output(buffer, size);
   Arguments arguments(args);
   Formatter formatter(output, arguments);
   const int error = errno; // for %m
   bool ok = true;
   for (const char *percent = std::strchr(format, '%'); percent != nullptr && ok; percent = std::strchr(format, '%')) {
      output.Put({format, static_cast<size_t>(percent - format)});
      format = percent + 1;
      if (!formatter.PrintPlain(format)) {
         const auto directive = ParseDirective(format);
         if (!directive.has_value()) {
            return std::nullopt;
         }
         errno = error;
         ok = formatter.Print(*directive);
      }
   }
   if (ok) {
      output.Put(format);
   }
   return output.Finish(ok);
}

// Takes a sequence that the end of the room has cut in two from the end of the text.
void CutAtBoundary(char *text, size_t length) {
   constexpr size_t kLongestSequence = 4;
   for (size_t back = 1; back <= std::min(kLongestSequence, length); ++back) {
      const auto byte = static_cast<unsigned char>(text[length - back]);
      if ((byte & 0xC0U) == 0x80U) {
         continue;
      }
      const size_t sequence = byte >= 0xF0U ? 4 : byte >= 0xE0U ? 3 : byte >= 0xC0U ? 2 : 1;
      if (sequence > back) {
         text[length - back] = '\0';
      }
      return;
   }
}

} // namespace

int bsd_vsnprintf(char *buffer, size_t size, const char *format, va_list args) {
   const int error = errno;
   const auto formatted = Format(buffer, size, format, args);
   if (!formatted.has_value()) {
      errno = error;
   }
   const int length = formatted.has_value() ? *formatted : std::vsnprintf(buffer, size, format, args);
   if (length >= 0 && static_cast<size_t>(length) >= size && size > 0) {
      CutAtBoundary(buffer, size - 1);
   }
   return length;
}
