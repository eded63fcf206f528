#pragma once

#include "osal/Preferences.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace osal {

/// An XML property list whose root is a dictionary. Values of types that preferences do not know stay in it.
///
/// Owner: whoever made it; can be moved. Threads: one at a time. Locks: none. Life cycle: empty, or what Parse gave.
class PlistDocument {
public:
   PlistDocument();
   ~PlistDocument();
   PlistDocument(PlistDocument &&) noexcept;
   PlistDocument &operator=(PlistDocument &&) noexcept;

   /// `*document` is replaced on success and as it was on failure, whose reason says in some words what is wrong.
   [[nodiscard]] static Status Parse(std::string_view text, PlistDocument *document);

   /// Stores a value. Refuses, with EILSEQ, keys and texts that can't stand in XML: ill-formed UTF-8, control
   /// characters other than tab, line feed and carriage return, and U+FFFE and U+FFFF.
   [[nodiscard]] Status Set(std::string_view key, const PreferenceValue &value);

   /// Calls `visit` for every key whose value is a text, a whole number that fits 64 bits with a sign, or a boolean.
   void ForEach(const std::function<void(std::string key, PreferenceValue value)> &visit) const;

   /// The document as a file's content. Empty when memory ran out.
   [[nodiscard]] std::string ToXml() const;

private:
   struct Release {
      void operator()(void *node) const;
   };
   std::unique_ptr<void, Release> mRoot;
};

/// Whether every character of `text` may stand in XML.
[[nodiscard]] bool IsXmlText(std::string_view text);

} // namespace osal
