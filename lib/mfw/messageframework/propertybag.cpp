#include "lib/mfw/messageframework/propertybag.h"

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/messageframework/propertybagnumber.h"

#include <charconv>
#include <cstdarg>
#include <cstring>
#include <utility>

namespace CORE {
namespace {

constexpr size_t kLongestValue = 0x7FFFFFFF; // bytes; the length of a text's header has no more bits for them

corestring BinaryValue(const void *data, size_t size) {
   if (size > kLongestValue) {
      throw coreException("PropertyBag: value is too long");
   }
   corestring value;
   if (size != 0) {
      if (data == nullptr) {
         throw coreException("PropertyBag: no data");
      }
      value.AssignBinary(data, static_cast<uint32_t>(size));
   }
   return value;
}

corestring Decimal(int64_t value) {
   char digits[24];
   const char *const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
   return {digits, static_cast<size_t>(end - digits)};
}

PropertyBagBodyRef CopyOrShare(const PropertyBagBody &into, const PropertyBag &bag, bool deep) {
   return deep ? bag.Body()->DeepCopy() : into.ShareOrCopy(*bag.Body());
}

// A string or binary entry; null for none or a bag.
PropertyBagEntry *Unbagged(PropertyBagEntry *entry) {
   return entry != nullptr && !entry->IsBag() ? entry : nullptr;
}

[[noreturn]] void ThrowMissing(const char *name, const char *kind) {
   corestring message("PropertyBag: name '");
   message.Append(name);
   message.Append("' does not exist as ");
   message.Append(kind);
   throw coreException(message.Text());
}

} // namespace

// ---- Construction and assignment ------------------------------------------------------------------------------------

PropertyBag::PropertyBag()
    : mBody(PropertyBagBody::Create()) {}

PropertyBag::PropertyBag(PropertyBagBodyRef body)
    : mBody(std::move(body)) {}

PropertyBag::PropertyBag(PropertyBagBody *body)
    : mBody(body != nullptr ? body->Share() : PropertyBagBody::Create()) {}

PropertyBag::PropertyBag(const PropertyBag &other)
    : coreref()
    , mBody(other.mBody->DeepCopy()) {}

PropertyBag::PropertyBag(const char *first, ...)
    : mBody(PropertyBagBody::Create()) {
   va_list texts;
   va_start(texts, first);
   for (const char *text = first; text != nullptr; text = va_arg(texts, const char *)) {
      const char *const sign = std::strchr(text, '=');
      const size_t length = sign != nullptr ? static_cast<size_t>(sign - text) : std::strlen(text);
      Add({text, length}, sign != nullptr ? sign + 1 : "");
   }
   va_end(texts);
}

PropertyBag::~PropertyBag() = default;

void PropertyBag::Assign(const PropertyBag &other) {
   mBody->Replace(other.mBody->CopyOfEntries());
}

void PropertyBag::Share(const PropertyBag &other) {
   mBody = other.mBody->Share();
}

void PropertyBag::Share(const PropertyBag &other, const char *name) {
   if (name == nullptr || *name == '\0') {
      Share(other);
      return;
   }
   const PropertyBagEntry *const entry = other.Find(name);
   mBody = entry != nullptr && entry->IsBag() ? entry->Bag()->Share() : PropertyBagBody::Create();
}

void PropertyBag::Detach(bool keep) {
   if (mBody->IsShared()) {
      mBody = keep ? mBody->DeepCopy() : PropertyBagBody::Create();
   } else if (!keep) {
      Clear();
   }
}

void PropertyBag::Clear() {
   mBody->Replace({});
}

bool PropertyBag::Equals(const PropertyBag &other, bool caseSensitive, bool ordered) const {
   return mBody->Equals(*other.mBody, caseSensitive, ordered);
}

// ---- Reading --------------------------------------------------------------------------------------------------------

PropertyBagEntry *PropertyBag::Find(const char *name) const {
   return mBody->Find(PropertyBagName(name));
}

bool PropertyBag::Has(const char *name) const {
   return Find(name) != nullptr;
}

bool PropertyBag::IsBag(const char *name) const {
   const PropertyBagEntry *const entry = Find(name);
   return entry != nullptr && entry->IsBag();
}

bool PropertyBag::IsBagAt(size_t index) const {
   return mBody->At(index).IsBag();
}

bool PropertyBag::IsBinary(const char *name) const {
   const PropertyBagEntry *const entry = Find(name);
   return entry != nullptr && entry->IsBinary();
}

bool PropertyBag::IsBinaryAt(size_t index) const {
   return mBody->At(index).IsBinary();
}

corestring PropertyBag::GetNameAt(size_t index) const {
   return mBody->At(index).Name();
}

const char *PropertyBag::GetNameTextAt(size_t index) const {
   return mBody->At(index).Name().Text();
}

corestring PropertyBag::GetString(const char *name, const corestring &defaultValue) const {
   const PropertyBagEntry *const entry = Unbagged(Find(name));
   return entry != nullptr ? entry->Value() : defaultValue;
}

corestring PropertyBag::GetString(const char *name, const char *defaultValue) const {
   const PropertyBagEntry *const entry = Unbagged(Find(name));
   return entry != nullptr ? entry->Value() : corestring(defaultValue);
}

const char *PropertyBag::GetStringOrNull(const char *name) const {
   const PropertyBagEntry *const entry = Unbagged(Find(name));
   return entry != nullptr ? entry->Value().Text() : nullptr;
}

corestring PropertyBag::GetStringOrThrow(const char *name) const {
   const PropertyBagEntry *const entry = Unbagged(Find(name));
   if (entry == nullptr) {
      ThrowMissing(name, "string");
   }
   return entry->Value();
}

corestring PropertyBag::GetStringAt(size_t index) const {
   static_cast<void>(GetStringTextAt(index));
   return mBody->At(index).Value();
}

const char *PropertyBag::GetStringTextAt(size_t index) const {
   const PropertyBagEntry &entry = mBody->At(index);
   if (entry.IsBag()) {
      throw coreException("PropertyBag: index is not a string");
   }
   return entry.Value().Text();
}

size_t PropertyBag::GetBinary(const char *name, const void *&outData, size_t &outSize) const {
   const PropertyBagEntry *const entry = Unbagged(Find(name));
   outData = entry != nullptr ? entry->Value().Text() : nullptr;
   outSize = entry == nullptr ? 0 : entry->IsBinary() ? entry->Value().BinarySize() : entry->Value().Length() + 1;
   return outSize;
}

size_t PropertyBag::GetBinaryAt(size_t index, const void *&outData, size_t &outSize) const {
   const PropertyBagEntry &entry = mBody->At(index);
   outData = entry.IsBinary() ? entry.Value().Text() : nullptr;
   outSize = entry.IsBinary() ? entry.Value().BinarySize() : 0;
   return outSize;
}

bool PropertyBag::GetBool(const char *name, bool defaultValue) const {
   const PropertyBagEntry *const entry = Unbagged(Find(name));
   return entry != nullptr ? bagnumber::ToBool(entry->ValueText()) : defaultValue;
}

bool PropertyBag::ToBool(const corestring &value) {
   return bagnumber::ToBool({value.Text(), value.Length()});
}

int32_t PropertyBag::GetInt(const char *name, int32_t defaultValue) const {
   return static_cast<int32_t>(GetInt64(name, defaultValue));
}

int64_t PropertyBag::GetInt64(const char *name, int64_t defaultValue) const {
   const PropertyBagEntry *const entry = Unbagged(Find(name));
   return entry != nullptr ? bagnumber::NormalizedInt64(entry->ValueText()) : defaultValue;
}

PropertyBag PropertyBag::GetBag(const char *name) const {
   const PropertyBagEntry *const entry = Find(name);
   return PropertyBag(entry != nullptr && entry->IsBag() ? entry->Bag()->Share() : PropertyBagBody::Create());
}

PropertyBag *PropertyBag::GetBagOrThrow(const char *name) const {
   const PropertyBagEntry *const entry = Find(name);
   if (entry == nullptr || !entry->IsBag()) {
      ThrowMissing(name, "bag");
   }
   return new PropertyBag(entry->Bag());
}

PropertyBag PropertyBag::GetBagAt(size_t index) const {
   const PropertyBagEntry &entry = mBody->At(index);
   return PropertyBag(entry.IsBag() ? entry.Bag()->Share() : PropertyBagBody::Create());
}

PropertyBag *PropertyBag::GetBagAtOrThrow(size_t index) const {
   if (index >= GetCount() || !IsBagAt(index)) {
      throw coreException("PropertyBag: index is out of range or not a bag");
   }
   return new PropertyBag(mBody->At(index).Bag());
}

size_t PropertyBag::FindNext(const char *name, corestring &outValue, size_t start) const {
   const size_t index = mBody->IndexOf(PropertyBagName(name), start);
   if (index == PropertyBagBody::kNone) {
      return 0;
   }
   corestring value = mBody->At(index).Value();
   outValue = std::move(value);
   return index + 1;
}

size_t PropertyBag::FindNextBag(const char *name, PropertyBag &outBag, size_t start) const {
   const size_t next = mBody->NextBag(PropertyBagName(name), start);
   if (next != 0) {
      outBag.mBody = mBody->At(next - 1).Bag()->Share();
   }
   return next;
}

size_t PropertyBag::FindNextBag(const char *name, PropertyBag *&outBag, size_t start) const {
   const size_t next = mBody->NextBag(PropertyBagName(name), start);
   outBag = next != 0 ? new PropertyBag(mBody->At(next - 1).Bag()) : nullptr;
   return next;
}

// ---- Writing --------------------------------------------------------------------------------------------------------

void PropertyBag::Add(corestring name, corestring value) {
   mBody->Append(PropertyBagEntry::Create(std::move(name), std::move(value)));
}

void PropertyBag::AddBag(const char *name, const PropertyBag &bag, bool deep) {
   mBody->Append(PropertyBagEntry::Create(name, CopyOrShare(*mBody, bag, deep)));
}

void PropertyBag::AddBinary(const char *name, const void *data, size_t size) {
   Add(name, BinaryValue(data, size));
}

void PropertyBag::Set(const char *name, corestring value) {
   const PropertyBagName key(name);
   if (PropertyBagEntry *const entry = mBody->Find(key); entry != nullptr) {
      entry->SetValue(std::move(value));
   } else {
      mBody->Append(PropertyBagEntry::Create(key, std::move(value)));
   }
}

void PropertyBag::SetFirst(const char *name, corestring value) {
   if (Has(name)) {
      Set(name, std::move(value));
      return;
   }
   mBody->Prepend(PropertyBagEntry::Create(name, std::move(value)));
}

void PropertyBag::SetBag(const char *name, const PropertyBag &bag, bool deep) {
   if (PropertyBagEntry *const entry = Find(name); entry != nullptr) {
      entry->SetBag(CopyOrShare(*mBody, bag, deep));
   } else {
      AddBag(name, bag, deep);
   }
}

void PropertyBag::SetBinary(const char *name, const void *data, size_t size) {
   Set(name, BinaryValue(data, size));
}

void PropertyBag::SetInt(const char *name, int32_t value) {
   Set(name, Decimal(value));
}

void PropertyBag::Increment(const char *name) {
   PropertyBagEntry *const entry = Find(name);
   if (entry == nullptr) {
      Add(name, "1");
   } else if (!entry->IsBag() && !entry->IsBinary()) {
      const auto value = static_cast<uint64_t>(bagnumber::ToInt64(entry->ValueText()));
      entry->SetValue(Decimal(static_cast<int64_t>(value + 1)));
   }
}

void PropertyBag::Remove(const char *name, bool all) {
   mBody->Remove(PropertyBagName(name), all, false);
}

void PropertyBag::RemoveAt(size_t index) {
   mBody->RemoveAt(index);
}

void PropertyBag::RemoveSecure(const char *name, bool all) {
   mBody->Remove(PropertyBagName(name), all, true);
}

} // namespace CORE
