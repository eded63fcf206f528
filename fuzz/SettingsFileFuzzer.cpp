// Any bytes as a settings file: refused, or a document that takes a value and reads back the same after it was written.

#include "osal/posix/PlistDocument.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

namespace {

using Values = std::map<std::string, osal::PreferenceValue>;

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

Values ValuesOf(const osal::PlistDocument &document) {
   Values values;
   document.ForEach(
      [&](std::string key, osal::PreferenceValue value) { values.insert_or_assign(std::move(key), std::move(value)); });
   return values;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   const std::string_view text(reinterpret_cast<const char *>(data), size);
   osal::PlistDocument document;
   if (!osal::PlistDocument::Parse(text, &document).ok()) {
      return 0;
   }
   const osal::PreferenceValue added = osal::PreferenceText("<added> & kept");
   Require(document.Set("added", added).ok());
   const Values values = ValuesOf(document);
   Require(values.at("added") == added);
   const std::string written = document.ToXml();
   osal::PlistDocument again;
   Require(osal::PlistDocument::Parse(written, &again).ok());
   Require(ValuesOf(again) == values);
   return 0;
}
