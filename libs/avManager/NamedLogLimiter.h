#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

/// Lets a repeating complaint through a limited number of times, per name, until the trouble is over.
///
/// Owner: a recorder. Threads: one. Locks: none. Life cycle: every name starts at 0.
class NamedLogLimiter {
public:
   static constexpr int32_t kLimit = 20;

   /// True the first kLimit times since the name's last Reset.
   [[nodiscard]] bool ShouldLog(std::string_view name);
   /// The trouble has ended: the next bout is logged again. Allocates nothing for a name that was seen before.
   void Reset(std::string_view name);

private:
   int32_t &CountOf(std::string_view name);

   int32_t mLimit = kLimit;
   std::map<std::string, int32_t, std::less<>> mCounts;
};
