// The conventions by which a bag carries a failure.

#include "lib/mfw/messageframework/propertybag.h"
#include "lib/mfw/messageframework/propertybagnumber.h"

#include <cstring>
#include <string_view>
#include <utility>

namespace CORE {
namespace {

constexpr const char *kCode = "ErrorCode";
constexpr const char *kText = "ErrorText";
constexpr uint32_t kUnknownCode = 0xFFFFFFFF;

corestring Trimmed(const char *text) {
   const std::string_view trimmed = bagnumber::Trimmed(text != nullptr ? text : "");
   return {trimmed.data(), trimmed.size()};
}

// strerror_r is two functions: one returns the text, one a number and the text in the buffer.
[[maybe_unused]] const char *MessageOf(const char *text, const char * /*buffer*/) {
   return text;
}
[[maybe_unused]] const char *MessageOf(int /*result*/, const char *buffer) {
   return buffer;
}

corestring SystemText(int32_t code) {
   char buffer[4096] = "";
   return Trimmed(MessageOf(strerror_r(code, buffer, sizeof buffer), buffer));
}

} // namespace

void PropertyBag::SetError(int32_t code, const char *text) {
   PropertyBag error;
   error.SetInt(kCode, code);
   corestring message = Trimmed(text);
   if (message.IsEmpty()) {
      message = SystemText(code);
   }
   if (!message.IsEmpty()) {
      error.Set(kText, std::move(message));
   }
   mBody->Replace(error.mBody->TakeEntries());
}

void PropertyBag::SetErrorText(const char *text) {
   PropertyBag error;
   error.Set(kText, text);
   mBody->Replace(error.mBody->TakeEntries());
}

uint32_t PropertyBag::GetErrorCode() const {
   const PropertyBagEntry *const entry = Find(kCode);
   const bool hasCode = entry != nullptr && !entry->IsBag();
   const auto code = static_cast<uint32_t>(hasCode ? bagnumber::NormalizedUint64(entry->ValueText()) : 0);
   return code == 0 && !GetString(kText).IsEmpty() ? kUnknownCode : code;
}

corestring PropertyBag::GetErrorText(const char *defaultText) const {
   corestring text = GetString(kText);
   if (!text.IsEmpty()) {
      return text;
   }
   if (const uint32_t code = GetErrorCode(); code != 0) {
      text.Format("ErrorCode %u (0x%x)", code, code);
      return text;
   }
   return defaultText;
}

corestring PropertyBag::GetErrorDescription() const {
   corestring description = GetString(kText);
   const uint32_t code = GetErrorCode();
   if (code == 0) {
      return corestring("Unspecified error"); // a text alone has the unknown error's code
   }
   if (!description.IsEmpty()) {
      description.Append(" - ");
   }
   corestring number;
   // Required: the 0x here, and the one that %p brings.
   // NOLINTNEXTLINE(performance-no-int-to-ptr): a number is shown or kept as a pointer
   number.Format("ErrorCode = %u (0x%p)", code, reinterpret_cast<void *>(uintptr_t{code}));
   description.Append(number);
   return description;
}

} // namespace CORE
