#include "osal/simulated/PositionedJson.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iterator>

namespace osal {
namespace {

/// Walks a text and tells, through a counter that all copies share, how far the parser has read.
class CountingIterator {
public:
   using iterator_category = std::input_iterator_tag;
   using value_type = char;
   using difference_type = std::ptrdiff_t;
   using pointer = const char *;
   using reference = const char &;

   CountingIterator(const char *at, size_t *consumed)
       : mAt(at)
       , mConsumed(consumed) {}
   reference operator*() const { return *mAt; }
   CountingIterator &operator++() {
      ++mAt;
      ++*mConsumed;
      return *this;
   }
   CountingIterator operator++(int) {
      const CountingIterator before = *this;
      ++*this;
      return before;
   }
   friend bool operator==(const CountingIterator &a, const CountingIterator &b) { return a.mAt == b.mAt; }

private:
   const char *mAt;
   size_t *mConsumed;
};

/// Bytes of the byte order mark that the text begins with.
size_t BomLength(std::string_view text) {
   return text.substr(0, 3) == "\xEF\xBB\xBF" ? 3 : 0;
}

/// Where the next token begins at or after `offset`: behind blanks, comments and the separators between tokens.
size_t NextToken(std::string_view text, size_t offset) {
   while (offset < text.size()) {
      if (std::string_view(" \t\r\n,:").find(text[offset]) != std::string_view::npos) {
         ++offset;
      } else if (text.substr(offset, 2) == "//") {
         offset = std::min(text.find('\n', offset), text.size());
      } else if (text.substr(offset, 2) == "/*") {
         const size_t end = text.find("*/", offset + 2);
         offset = end == std::string_view::npos ? text.size() : end + 2;
      } else {
         break;
      }
   }
   return offset;
}

/// The parser's own words without the prefix that repeats its place, and without the text that it quotes where that is
/// long.
std::string WhyOf(const std::string &what) {
   constexpr size_t kLongest = 200;
   size_t begin = what.find("] ") == std::string::npos ? 0 : what.find("] ") + 2;
   if (what.compare(begin, 14, "parse error at") == 0 && what.find(": ", begin) != std::string::npos) {
      begin = what.find(": ", begin) + 2;
   }
   std::string why = what.substr(begin);
   if (why.size() > kLongest) {
      why.resize(std::min({why.find("; last read: "), why.find(" '"), kLongest}));
   }
   return why;
}

/// Builds the tree from the parser's events.
class TreeBuilder {
public:
   using number_integer_t = nlohmann::json::number_integer_t;
   using number_unsigned_t = nlohmann::json::number_unsigned_t;
   using number_float_t = nlohmann::json::number_float_t;
   using string_t = nlohmann::json::string_t;
   using binary_t = nlohmann::json::binary_t;

   TreeBuilder(std::string_view text, JsonNode *root)
       : mText(text)
       , mRoot(root)
       , mTokenEnd(BomLength(text)) {}

   size_t *Consumed() { return &mConsumed; }
   const Status &Result() const { return mResult; }

   // The events, named as the parser wants them.
   bool null() { return Add(nullptr); }
   bool boolean(bool value) { return Add(value); }
   bool number_integer(number_integer_t value) { return AddNumber(static_cast<double>(value)); }
   bool number_unsigned(number_unsigned_t value) { return AddNumber(static_cast<double>(value)); }
   bool number_float(number_float_t value, const string_t &) { return AddNumber(value); }
   bool string(string_t &value) { return Add(std::move(value)); }
   bool binary(binary_t &) { return false; }
   bool start_object(size_t) { return Open(JsonNode::Object()); }
   bool start_array(size_t) { return Open(JsonNode::Array()); }
   bool end_object() { return Close(); }
   bool end_array() { return Close(); }

   bool key(string_t &text) {
      auto &members = std::get<JsonNode::Object>(mOpen.back()->value);
      members.emplace_back(Make(std::move(text)), JsonNode());
      mTokenEnd = mConsumed;
      return true;
   }

   bool parse_error(size_t position, const std::string &, const nlohmann::detail::exception &error) {
      if (mText.find_first_not_of(" \t\r\n") == std::string_view::npos) {
         return Fail(0, "the file is empty");
      }
      // The parser counts the character that it stumbled over; the place is that of the character itself.
      return Fail(position > 0 ? position - 1 : 0, WhyOf(error.what()));
   }

private:
   template <typename T>
   JsonNode Make(T &&value) const {
      JsonNode node;
      node.value = std::forward<T>(value);
      node.offset = NextToken(mText, mTokenEnd);
      return node;
   }

   bool Fail(size_t offset, const std::string &why) {
      mResult = Status::Error(EINVAL, JsonPlace(mText, offset) + ": " + why);
      return false;
   }

   template <typename T>
   bool Add(T &&value) {
      return Place(Make(std::forward<T>(value)), mConsumed) != nullptr;
   }

   bool AddNumber(double value) {
      // A number ends where something else begins: the parser has read one character too many.
      return Place(Make(value), std::max(mConsumed, size_t{1}) - 1) != nullptr;
   }

   template <typename T>
   bool Open(T &&container) {
      JsonNode node = Make(std::forward<T>(container));
      if (mOpen.size() == kJsonMaximumDepth) {
         return Fail(node.offset, "nested deeper than " + std::to_string(kJsonMaximumDepth) + " levels");
      }
      JsonNode *const placed = Place(std::move(node), mConsumed);
      if (placed != nullptr) {
         mOpen.push_back(placed);
      }
      return placed != nullptr;
   }

   bool Close() {
      mOpen.pop_back();
      mTokenEnd = mConsumed;
      return true;
   }

   /// Puts a value where it belongs; null when there are too many. The pointer holds while the container is open: its
   /// owner gets no further member before it is closed.
   JsonNode *Place(JsonNode node, size_t tokenEnd) {
      mTokenEnd = tokenEnd;
      if (++mValues > kJsonMaximumValues) {
         Fail(node.offset, "more than " + std::to_string(kJsonMaximumValues) + " values");
         return nullptr;
      }
      JsonNode *slot = mRoot;
      if (!mOpen.empty()) {
         if (auto *const array = std::get_if<JsonNode::Array>(&mOpen.back()->value)) {
            slot = &array->emplace_back();
         } else {
            slot = &std::get<JsonNode::Object>(mOpen.back()->value).back().second;
         }
      }
      *slot = std::move(node);
      return slot;
   }

   const std::string_view mText;
   JsonNode *const mRoot;
   std::vector<JsonNode *> mOpen;
   size_t mConsumed = 0;
   size_t mTokenEnd;
   size_t mValues = 0;
   Status mResult;
};

} // namespace

std::string JsonPlace(std::string_view text, size_t offset) {
   const std::string_view before = text.substr(0, std::min(offset, text.size()));
   const size_t lineEnd = before.rfind('\n');
   const size_t lineStart = lineEnd == std::string_view::npos ? std::min(BomLength(text), before.size()) : lineEnd + 1;
   const auto line = 1 + std::count(before.begin(), before.end(), '\n');
   const std::string_view inLine = before.substr(lineStart);
   const auto column = 1 + std::count_if(inLine.begin(), inLine.end(),
                                         [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
   return std::to_string(line) + ":" + std::to_string(column);
}

Status ParseJson(std::string_view text, JsonNode *root) {
   JsonNode parsed;
   TreeBuilder builder(text, &parsed);
   const CountingIterator begin(text.data(), builder.Consumed());
   const CountingIterator end(text.data() + text.size(), builder.Consumed());
   const bool complete =
      nlohmann::json::sax_parse(begin, end, &builder, nlohmann::json::input_format_t::json, true, true);
   if (!complete) {
      return builder.Result();
   }
   *root = std::move(parsed);
   return Status::Ok();
}

} // namespace osal
