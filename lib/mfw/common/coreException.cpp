#include "lib/mfw/common/coreException.h"

#include "lib/mfw/common/corestring.h"

#include <cstring>

namespace CORE {
namespace {

char *Copied(const char *text) {
   if (text == nullptr) {
      return nullptr;
   }
   const size_t size = std::strlen(text) + 1;
   auto *const copy = static_cast<char *>(std::malloc(size));
   if (copy != nullptr) {
      std::memcpy(copy, text, size);
   }
   return copy;
}

// strerror_r is two functions: one returns the text, one a number and the text in the buffer.
[[maybe_unused]] const char *ErrorText(const char *text, const char * /*buffer*/) {
   return text;
}
[[maybe_unused]] const char *ErrorText(int /*result*/, const char *buffer) {
   return buffer;
}

} // namespace

coreException::coreException(const char *message)
    : mMessage(Copied(message)) {}

coreException::coreException(int code)
    : mCode(code) {}

coreException::coreException(const coreException &other)
    : mCode(other.mCode)
    , mMessage(Copied(other.mMessage.get())) {}

corestring Describe(const coreException &exception) {
   corestring text(exception.Message());
   const int code = exception.Code();
   if (code == 0) {
      return text;
   }
   char buffer[256] = "";
   corestring system(ErrorText(strerror_r(code, buffer, sizeof buffer), buffer));
   system.TrimLeft(" \t\r\n");
   system.TrimRight(" \t\r\n");
   corestring number;
   if (code >= 0) {
      number.Format("%d", code);
   } else {
      // Required: "0x" in front of %p, which brings one of its own here. The 32 bits of the code, as others list it.
      // NOLINTNEXTLINE(performance-no-int-to-ptr): a number is shown or kept as a pointer
      number.Format("0x%p", reinterpret_cast<void *>(uintptr_t{static_cast<uint32_t>(code)}));
   }
   text.Append(", Error = ");
   text.Append(number);
   text.Append(" (");
   text.Append(system);
   text.Append(")");
   return text;
}

} // namespace CORE
