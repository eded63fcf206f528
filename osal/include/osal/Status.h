#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace osal {

/// Outcome of a platform operation: 0, or the platform's own error number with a text for people.
///
/// The text names what failed and why, so that a caller above the seam can log one line that is enough. Nothing below
/// the seam logs. A plain value; any thread.
struct [[nodiscard]] Status {
   int32_t code = 0;
   std::string reason;

   [[nodiscard]] bool ok() const { return code == 0; }
   static Status Ok() { return {}; }
   /// `code` must not be 0.
   static Status Error(int32_t code, std::string reason) { return {code, std::move(reason)}; }
};

} // namespace osal
