#pragma once

#include <cstdint>
#include <map>
#include <string>

/// Lets something happen a limited number of times for each name.
///
/// Owner: the class whose messages or attempts it limits. Threads: the owner's, one at a time. Locks: none. Life cycle:
/// as its owner.
class KeyedCounter {
public:
   static constexpr int32_t kLimit = 20;

   /// True, and counted, while the key's count is below the limit.
   [[nodiscard]] bool Try(const std::string &key);
   /// The key starts again at 0.
   void Clear(const std::string &key) { mCounts[key] = 0; }
   /// All keys do, and the limit is kLimit again.
   void Reset();
   void SetLimit(int32_t limit) { mLimit = limit; }

private:
   int32_t mLimit = kLimit;
   std::map<std::string, int32_t> mCounts;
};
