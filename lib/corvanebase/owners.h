#pragma once

#include "lib/corvanebase/corvanebase.h"

#include <cstdlib>
#include <memory>

/// Owners, for C++, of what the base library hands out. Plain values; threads as for what they own.
namespace corvanebase {

/// Deleter of a heap string.
struct Freed {
   void operator()(char *text) const { std::free(text); }
};
/// A heap string, or null.
using HeapText = std::unique_ptr<char, Freed>;

/// Deleter of a listed folder, which knows how many names it has.
struct FreedNames {
   int count;
   void operator()(char **names) const { File_FreeNames(names, count); }
};
/// What File_ListDirectory has listed: `{names, {count}}`, the count not negative.
using HeapNames = std::unique_ptr<char *[], FreedNames>;

/// Deleter of a dictionary.
struct FreedDictionary {
   void operator()(Dictionary *dictionary) const { Dictionary_Free(dictionary); }
};
using OwnedDictionary = std::unique_ptr<Dictionary, FreedDictionary>;

} // namespace corvanebase
