#pragma once

#include "osal/Status.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace osal {

/// Text as a preference store hands it out: UTF-8 inside, measured and copied the way the store's own strings are.
class PreferenceText {
public:
   PreferenceText() = default;
   explicit PreferenceText(std::string utf8)
       : mUtf8(std::move(utf8)) {}

   [[nodiscard]] const std::string &utf8() const { return mUtf8; }

   /// The most bytes that the text can need in UTF-8, terminator not counted: 3 for each UTF-16 unit of the text. An
   /// upper bound known without converting, not the length.
   [[nodiscard]] size_t maximumSizeForUtf8() const;

   /// Copies the text and a terminating zero byte to `buffer`. False when both do not fit into `size` bytes; `buffer`
   /// is then as it was. Ill-formed UTF-8 is copied as it stands.
   [[nodiscard]] bool getCString(char *buffer, size_t size) const;

   friend bool operator==(const PreferenceText &, const PreferenceText &) = default;

private:
   std::string mUtf8;
};

/// A value of the store. There are three types and none is read as another.
using PreferenceValue = std::variant<PreferenceText, int64_t, bool>;

/// One application's preference domain: a flat dictionary from key to value that outlives the process.
///
/// Owner: whoever opened it (Platform::openPreferences). Threads: any thread. Other processes may use the same domain
/// at the same time: their changes are seen by the next read, and two processes that write different keys lose neither.
/// Locks: its own; no call waits longer than 2 seconds for another process. Life cycle: open until destroyed; values
/// that setAppValue has acknowledged outlive this process: they are on disk, or on a Mac with the system's preference
/// service, which writes them out when it sees fit.
class Preferences {
public:
   virtual ~Preferences() = default;

   /// The value of `key`, or nothing.
   [[nodiscard]] virtual std::optional<PreferenceValue> copyAppValue(std::string_view key) = 0;

   /// The integer stored under `key`; `*keyExistsAndHasValidFormat` says whether there is one. Without one the result
   /// is 0. No other type converts.
   [[nodiscard]] virtual int64_t getAppIntegerValue(std::string_view key, bool *keyExistsAndHasValidFormat) = 0;

   /// The same for a boolean; false without one.
   [[nodiscard]] virtual bool getAppBooleanValue(std::string_view key, bool *keyExistsAndHasValidFormat) = 0;

   /// Sets `key`, whole or not at all: after a failure the store holds what it held before. Keys and texts are UTF-8.
   virtual Status setAppValue(std::string_view key, const PreferenceValue &value) = 0;

   /// Writes out what is pending. Stores that write at once have nothing to do.
   virtual Status appSynchronize() = 0;

   /// What has gone wrong with the store itself since the last call (damaged, unreadable), or success. Reads do not
   /// fail: they find nothing. The caller above the seam logs this; each trouble is told once.
   virtual Status takeTrouble() = 0;

   /// Where the values are kept, for people: a path, or the domain's name.
   [[nodiscard]] virtual std::string location() const = 0;
};

} // namespace osal
