#include "osal/posix/PlistDocument.h"

#include <plist/plist.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <utility>

namespace osal {
namespace {

constexpr int kMaximumDepth = 64; // the library walks a tree by recursion

struct FreeMemory {
   void operator()(void *memory) const { std::free(memory); }
};
template <typename T>
using Allocated = std::unique_ptr<T, FreeMemory>;

/// Where a construct that began at `from` ends, past its `end`; the text's end when it is never closed.
size_t SkipTo(std::string_view text, size_t from, std::string_view end) {
   const size_t found = text.find(end, from);
   return found == std::string_view::npos ? text.size() : found + end.size();
}

/// The deepest nesting of elements; comments, processing instructions and character data do not count.
int Depth(std::string_view text) {
   int depth = 0;
   int deepest = 0;
   size_t at = 0;
   while ((at = text.find('<', at)) != std::string_view::npos) {
      const std::string_view rest = text.substr(at, 9);
      if (rest.substr(0, 4) == "<!--") {
         at = SkipTo(text, at + 4, "-->");
      } else if (rest == "<![CDATA[") {
         at = SkipTo(text, at + 9, "]]>");
      } else {
         const size_t end = SkipTo(text, at, ">");
         const bool isElement = rest.size() > 1 && rest[1] != '!' && rest[1] != '?';
         const bool isClosing = rest.size() > 1 && rest[1] == '/';
         const bool isEmpty = end - at >= 3 && text[end - 2] == '/';
         if (isClosing) {
            --depth;
         } else if (isElement && !isEmpty) {
            deepest = std::max(deepest, ++depth);
         }
         at = end;
      }
   }
   return deepest;
}

/// Whether nothing but blanks and comments follows the end of the list: the library itself takes a file for whole as
/// soon as the dictionary is closed.
bool IsClosed(std::string_view text) {
   constexpr std::string_view kEnd = "</plist>";
   const size_t end = text.rfind(kEnd);
   if (end == std::string_view::npos) {
      return false;
   }
   size_t at = end + kEnd.size();
   while ((at = text.find_first_not_of(" \t\r\n", at)) != std::string_view::npos) {
      if (text.substr(at, 4) != "<!--" || text.find("-->", at + 4) == std::string_view::npos) {
         return false;
      }
      at = SkipTo(text, at + 4, "-->");
   }
   return true;
}

/// Bytes of the well-formed UTF-8 character at the start of `text`, and the character; 0 when it is ill-formed.
size_t DecodeUtf8(std::string_view text, uint32_t *character) {
   const auto byte = [&](size_t i) {
      return static_cast<unsigned char>(text[i]);
   };
   const unsigned char lead = byte(0);
   const size_t length = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
   if (length == 0 || text.size() < length) {
      return 0;
   }
   uint32_t code = length == 1 ? lead : lead & (0x7Fu >> length);
   for (size_t i = 1; i < length; ++i) {
      if ((byte(i) & 0xC0) != 0x80) {
         return 0;
      }
      code = (code << 6) | (byte(i) & 0x3Fu);
   }
   const bool isOverlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
   if (isOverlong || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
      return 0;
   }
   *character = code;
   return length;
}

/// The library keeps numbers from -2^63 to 2^64 - 1 in 64 bits and hands out the bits: those with the highest bit set
/// tell their sign only when written out.
bool IsNegative(plist_t number) {
   char *text = nullptr;
   uint32_t length = 0;
   plist_to_xml(number, &text, &length);
   const Allocated<char> owned(text);
   return text != nullptr && std::string_view(text, length).find("<integer>-") != std::string_view::npos;
}

std::optional<PreferenceValue> ValueOf(plist_t node) {
   switch (plist_get_node_type(node)) {
   case PLIST_STRING: {
      uint64_t length = 0;
      const char *const text = plist_get_string_ptr(node, &length);
      return PreferenceText(text != nullptr ? std::string(text, static_cast<size_t>(length)) : std::string());
   }
   case PLIST_UINT: {
      uint64_t bits = 0;
      plist_get_uint_val(node, &bits);
      if (bits > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) && !IsNegative(node)) {
         return std::nullopt;
      }
      return static_cast<int64_t>(bits);
   }
   case PLIST_BOOLEAN: {
      uint8_t flag = 0;
      plist_get_bool_val(node, &flag);
      return flag != 0;
   }
   default:
      return std::nullopt;
   }
}

plist_t NodeOf(const PreferenceValue &value) {
   if (const auto *const text = std::get_if<PreferenceText>(&value)) {
      return plist_new_string(text->utf8().c_str());
   }
   if (const auto *const number = std::get_if<int64_t>(&value)) {
      return plist_new_uint(static_cast<uint64_t>(*number));
   }
   return plist_new_bool(std::get<bool>(value) ? 1 : 0);
}

Status Damaged(const char *why) {
   return Status::Error(EBADMSG, why);
}

} // namespace

void PlistDocument::Release::operator()(void *node) const {
   plist_free(node);
}

PlistDocument::PlistDocument()
    : mRoot(plist_new_dict()) {}
PlistDocument::~PlistDocument() = default;
PlistDocument::PlistDocument(PlistDocument &&) noexcept = default;
PlistDocument &PlistDocument::operator=(PlistDocument &&) noexcept = default;

Status PlistDocument::Parse(std::string_view text, PlistDocument *document) {
   if (text.empty()) {
      return Damaged("the file is empty");
   }
   if (text.find('\0') != std::string_view::npos) {
      return Damaged("it holds a zero byte");
   }
   if (text.size() > std::numeric_limits<uint32_t>::max() || Depth(text) > kMaximumDepth) {
      return Damaged("it is nested too deep");
   }
   if (!IsClosed(text)) {
      return Damaged("it is no XML property list, or its end is missing");
   }
   // The library looks a byte or two ahead: it gets a text that ends in a zero.
   const std::string copy(text);
   plist_t root = nullptr;
   plist_from_xml(copy.c_str(), static_cast<uint32_t>(copy.size()), &root);
   std::unique_ptr<void, Release> owned(root);
   if (root == nullptr) {
      return Damaged("it is no well-formed XML property list");
   }
   if (plist_get_node_type(root) != PLIST_DICT) {
      return Damaged("its root is no dictionary");
   }
   document->mRoot = std::move(owned);
   return Status::Ok();
}

Status PlistDocument::Set(std::string_view key, const PreferenceValue &value) {
   if (!IsXmlText(key)) {
      return Status::Error(EILSEQ, "the key holds a character that the settings file can't");
   }
   if (const auto *const text = std::get_if<PreferenceText>(&value); text != nullptr && !IsXmlText(text->utf8())) {
      return Status::Error(EILSEQ, "the text holds a character that the settings file can't");
   }
   const std::string name(key); // before the node, which nobody owns until it is in
   plist_dict_set_item(mRoot.get(), name.c_str(), NodeOf(value));
   return Status::Ok();
}

void PlistDocument::ForEach(const std::function<void(std::string key, PreferenceValue value)> &visit) const {
   plist_dict_iter iterator = nullptr;
   plist_dict_new_iter(mRoot.get(), &iterator);
   const Allocated<void> ownedIterator(iterator);
   for (;;) {
      char *key = nullptr;
      plist_t node = nullptr;
      plist_dict_next_item(mRoot.get(), iterator, &key, &node);
      const Allocated<char> ownedKey(key);
      if (node == nullptr) {
         return;
      }
      if (std::optional<PreferenceValue> value = ValueOf(node); value && key != nullptr) {
         visit(key, std::move(*value));
      }
   }
}

std::string PlistDocument::ToXml() const {
   char *text = nullptr;
   uint32_t length = 0;
   plist_to_xml(mRoot.get(), &text, &length);
   const Allocated<char> owned(text);
   return text != nullptr ? std::string(text, length) : std::string();
}

bool IsXmlText(std::string_view text) {
   while (!text.empty()) {
      uint32_t character = 0;
      const size_t length = DecodeUtf8(text, &character);
      const bool isControl = character < 0x20 && character != '\t' && character != '\n' && character != '\r';
      if (length == 0 || isControl || character == 0xFFFE || character == 0xFFFF) {
         return false;
      }
      text.remove_prefix(length);
   }
   return true;
}

} // namespace osal
