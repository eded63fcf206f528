#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include <functional>
#include <map>
#include <string>
#include <variant>

using corvanebase::BoolOfText;
using corvanebase::LongOfText;

struct Dictionary {
   using Value = std::variant<std::string, int32_t, bool>;
   std::map<std::string, Value, std::less<>> values;
};

namespace {

using Value = Dictionary::Value;

void Set(Dictionary &dictionary, const char *key, Value value) {
   dictionary.values.insert_or_assign(key, std::move(value));
}

const Value *Find(const Dictionary &dictionary, const char *key) {
   const auto found = dictionary.values.find(std::string_view(key));
   return found != dictionary.values.end() ? &found->second : nullptr;
}

std::string TextOf(const Value &value) {
   if (const auto *const number = std::get_if<int32_t>(&value)) {
      return std::to_string(*number);
   }
   if (const auto *const truth = std::get_if<bool>(&value)) {
      return *truth ? "true" : "false";
   }
   return std::get<std::string>(value);
}

} // namespace

Dictionary *Dictionary_Create(void) {
   return new Dictionary;
}

void Dictionary_Free(Dictionary *dictionary) {
   delete dictionary;
}

void Dict_SetString(Dictionary *dictionary, const char *value, const char *key) {
   if (value == nullptr) {
      if (const auto found = dictionary->values.find(std::string_view(key)); found != dictionary->values.end()) {
         dictionary->values.erase(found);
      }
      return;
   }
   Set(*dictionary, key, std::string(value));
}

void Dict_SetLong(Dictionary *dictionary, int32_t value, const char *key) {
   Set(*dictionary, key, value);
}

void Dict_SetBool(Dictionary *dictionary, int value, const char *key) {
   Set(*dictionary, key, value != 0);
}

char *Dict_GetString(const Dictionary *dictionary, const char *defaultValue, const char *key) {
   const Value *const value = Find(*dictionary, key);
   return value != nullptr ? UtilSafeStrdup0(TextOf(*value).c_str()) : UtilSafeStrdup0(defaultValue);
}

int32_t Dict_GetLong(const Dictionary *dictionary, int32_t defaultValue, const char *key) {
   const Value *const value = Find(*dictionary, key);
   if (value == nullptr) {
      return defaultValue;
   }
   if (const auto *const text = std::get_if<std::string>(value)) {
      return LongOfText(*text).value_or(defaultValue);
   }
   const auto *const number = std::get_if<int32_t>(value);
   return number != nullptr ? *number : defaultValue;
}

int Dict_GetBool(const Dictionary *dictionary, int defaultValue, const char *key) {
   const Value *const value = Find(*dictionary, key);
   if (value == nullptr) {
      return defaultValue;
   }
   if (const auto *const text = std::get_if<std::string>(value)) {
      const auto truth = BoolOfText(*text);
      return truth.has_value() ? static_cast<int>(*truth) : defaultValue;
   }
   const auto *const truth = std::get_if<bool>(value);
   return truth != nullptr ? static_cast<int>(*truth) : defaultValue;
}
