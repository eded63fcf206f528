#pragma once

#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/owners.h"
#include "lib/log/LogConfigSource.h"

#include <cstdint>

/// Text on the heap with an owner.
using LogText = corvanebase::HeapText;

/// Reads configuration keys of the log, each by one order of precedence:
/// PREFIX.KEY.SUFFIX of the source, KEY.SUFFIX of the source, KEY of the dictionary, the built-in default.
///
/// Required: a value of the source that equals the built-in default counts as not set, even where the dictionary has
/// another one. Owner: a local of whoever sets up an output. Threads: one. Locks: none. Life cycle: plain values, which
/// outlive it. Out of memory: std::bad_alloc.
class LogKeys {
public:
   /// `prefix` null or empty: no prefixed keys. `suffix` null: none. Both `dictionary` and `source` may be null.
   LogKeys(const char *prefix, const char *suffix, const Dictionary *dictionary, const LogConfigSource *source);

   [[nodiscard]] bool Bool(const char *key, bool defaultValue) const;
   [[nodiscard]] int32_t Long(const char *key, int32_t defaultValue) const;
   /// `defaultValue` may be null; so may be the result.
   [[nodiscard]] LogText String(const char *key, const char *defaultValue) const;

   /// A level word; "none" in any case is -1. The default holds for an absent key and for an unknown word.
   [[nodiscard]] int32_t Level(const char *key, int32_t defaultValue) const;

private:
   [[nodiscard]] LogText PlainKey(const char *key) const;
   [[nodiscard]] LogText PrefixedKey(const char *plainKey) const; ///< null without a prefix

   const char *mPrefix;
   const char *mSuffix;
   const Dictionary *mDictionary;
   const LogConfigSource *mSource;
};
