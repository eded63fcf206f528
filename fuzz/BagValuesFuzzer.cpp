// Any bytes as the value of an entry, read as numbers and as a truth value, against the same rules as a copy of the
// text that the C library reads.

#include "lib/mfw/messageframework/PropertyBagNumberTestKit.h"
#include "lib/mfw/messageframework/propertybag.h"
#include "lib/mfw/messageframework/propertybagnumber.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   using namespace CORE::bagnumber;
   // A copy without a zero behind it: a step too far is seen.
   const std::unique_ptr<char[]> exact(new char[size]);
   std::copy(data, data + size, exact.get());
   const std::string_view view(exact.get(), size);
   const std::string text(view);
   Require(ToInt64(view) == plain::ToInt64(text));
   Require(ToUint64(view) == plain::ToUint64(text));
   Require(ToBool(view) == plain::ToBool(text));
   const std::string normalized = plain::Normalized(text);
   const int64_t value = plain::ToInt64(normalized);
   Require(NormalizedInt64(view) == value);
   Require(NormalizedUint64(view) == plain::ToUint64(normalized));

   CORE::PropertyBag bag;
   bag.Add("value", CORE::corestring(exact.get(), size));
   Require(bag.GetInt64("value", 1) == value);
   Require(bag.GetInt("value", 1) == static_cast<int32_t>(value));
   Require(bag.GetBool("value", true) == plain::ToBool(text));
   const auto before = static_cast<uint64_t>(plain::ToInt64(text));
   bag.Increment("value");
   Require(bag.GetInt64("value") == static_cast<int64_t>(before + 1));
   return 0;
}
