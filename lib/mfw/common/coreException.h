#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace CORE {

class corestring;

/// What the CORE classes throw: by value, caught by value at the border, never seen by the host.
///
/// A message, or an error number of the system, or neither. Copies are deep. A plain value; any thread.
class coreException {
public:
   /// Copies the text; null gives no message, and so does a lack of memory.
   explicit coreException(const char *message);
   /// An errno value.
   explicit coreException(int code);
   coreException(const coreException &other);
   coreException &operator=(const coreException &) = delete;
   virtual ~coreException() = default;

   [[nodiscard]] int32_t Code() const { return mCode; }                 ///< 0 without one
   [[nodiscard]] const char *Message() const { return mMessage.get(); } ///< null without one

private:
   struct Freed {
      void operator()(char *text) const { std::free(text); }
   };

   int32_t mCode = 0;
   std::unique_ptr<char, Freed> mMessage;
};

/// For people: the message, then ", Error = CODE (TEXT OF THE SYSTEM)" for a code other than 0: ", Error = 5
/// (Input/output error)". A code below 0 is shown as an address. Throws coreException("OutOfMem").
[[nodiscard]] corestring Describe(const coreException &exception);

} // namespace CORE
