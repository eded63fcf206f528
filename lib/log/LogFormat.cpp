#include "lib/log/LogFormat.h"

#include <charconv>
#include <cstring>

namespace {

// Text that grows in a buffer, one byte of which stays free for the terminator.
class Text {
public:
   Text(char *buffer, size_t size)
       : mBegin(buffer)
       , mAt(buffer)
       , mEnd(buffer + size - 1) {}

   bool Add(const char *text, size_t length) {
      if (length > static_cast<size_t>(mEnd - mAt)) {
         return false;
      }
      std::memcpy(mAt, text, length);
      mAt += length;
      return true;
   }

   template <typename Number>
   bool AddNumber(Number number) {
      const auto [end, error] = std::to_chars(mAt, mEnd, number);
      mAt = end;
      return error == std::errc();
   }

   int Finish() {
      *mAt = '\0';
      return static_cast<int>(mAt - mBegin);
   }

private:
   char *const mBegin;
   char *mAt;
   char *const mEnd;
};

bool AddField(Text *out, char conversion, va_list *args) {
   switch (conversion) {
   case 's': {
      const char *const text = va_arg(*args, const char *);
      const char *const shown = text != nullptr ? text : "(null)";
      return out->Add(shown, std::strlen(shown));
   }
   case 'd':
      return out->AddNumber(va_arg(*args, int));
   case 'u':
      return out->AddNumber(va_arg(*args, unsigned));
   case '%':
      return out->Add("%", 1);
   default:
      return false;
   }
}

// The length, or -1 for a message that has other fields or does not fit.
int FormatSimple(char *buffer, size_t size, const char *format, va_list *args) {
   Text out(buffer, size);
   for (;;) {
      const char *const field = std::strchr(format, '%');
      const size_t plain = field != nullptr ? static_cast<size_t>(field - format) : std::strlen(format);
      if (!out.Add(format, plain)) {
         return -1;
      }
      if (field == nullptr) {
         return out.Finish();
      }
      if (!AddField(&out, field[1], args)) {
         return -1;
      }
      format = field + 2;
   }
}

} // namespace

int Log_FormatText(char *buffer, size_t size, const char *format, va_list args) {
   va_list copy;
   va_copy(copy, args);
   int length = size > 0 ? FormatSimple(buffer, size, format, &copy) : -1;
   va_end(copy);
   if (length < 0) {
      va_copy(copy, args);
      length = Str_Vsnprintf(buffer, size, format, copy);
      va_end(copy);
   }
   return length;
}
