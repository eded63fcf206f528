#pragma once

#include <cstdint>

/// Faults on demand: the nth allocation, or the nth creation of a thread, fails. Link `mavr_fault_kit` to have it.
///
///     for (uint64_t nth = 1;; ++nth) {
///        kit::FailNth fault(kit::Fault::Allocation, nth, kit::Repeat::FromThenOn);
///        const bool done = Try();
///        if (!fault.Struck()) { EXPECT_TRUE(done); break; }   // n has gone past the last call
///        EXPECT_FALSE(done);
///     }
///
/// Counted are the calls of the whole process, in the test's own objects and everything linked into it from archives;
/// shared libraries allocate uncounted. Threads: any; one FailNth of a kind at a time.
namespace kit {

enum class Fault {
   Allocation,    ///< operator new throws std::bad_alloc; malloc, calloc, realloc and strdup return null with ENOMEM
   ThreadCreation ///< pthread_create returns EAGAIN; a test's own std::thread is not touched
};
enum class Repeat { Once, FromThenOn };

class FailNth {
public:
   /// `nth` is 1 for the next call.
   FailNth(Fault fault, uint64_t nth, Repeat repeat = Repeat::Once);
   ~FailNth();
   FailNth(const FailNth &) = delete;
   FailNth &operator=(const FailNth &) = delete;

   /// Whether a call has failed.
   [[nodiscard]] bool Struck() const;
   /// Ends it before the scope does, so that what follows may allocate.
   void Disarm();

private:
   const Fault mFault;
};

/// Allocations of this process so far, of any kind; two readings tell whether what lies between allocates.
[[nodiscard]] uint64_t AllocationCount();

} // namespace kit
