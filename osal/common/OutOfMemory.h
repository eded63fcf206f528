#pragma once

#include "osal/Status.h"

#include <cerrno>
#include <new>
#include <utility>

namespace osal {

/// Short enough that making it allocates nothing.
[[nodiscard]] inline Status NoMemory() {
   return Status::Error(ENOMEM, "out of memory");
}

/// The border at which a failed allocation becomes a value: what `make` gives, or `otherwise` when memory runs out in
/// it. No call of the seam throws.
template <typename Make, typename Value>
[[nodiscard]] auto UnlessOutOfMemory(Make make, Value otherwise) -> decltype(make()) {
   try {
      return make();
   } catch (const std::bad_alloc &) {
      return otherwise;
   }
}

/// What `find` puts into `*out`, a pointer; nothing is there unless it succeeds.
template <typename Out, typename Find>
[[nodiscard]] Status Cleanly(Out *out, Find find) {
   out->reset();
   Status status = UnlessOutOfMemory(find, NoMemory());
   if (!status.ok()) {
      out->reset();
   }
   return status;
}

} // namespace osal
