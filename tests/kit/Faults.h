#pragma once

#include <cstddef>
#include <cstdint>

/// Faults on demand: the nth allocation, the nth creation of a thread, the nth call of another kind fails. Link
/// `mavr_fault_kit` to have it; what system calls say when they fail is in SystemFaults.h.
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
   Allocation,     ///< operator new throws std::bad_alloc; malloc, calloc, realloc and strdup return null with ENOMEM
   ThreadCreation, ///< pthread_create returns EAGAIN; a test's own std::thread is not touched
   SystemCall,     ///< a call on files, as SystemFaults.h says
   Clock,          ///< clock_gettime fails with EINVAL; gmtime_r and localtime_r return null with EOVERFLOW
   Device,         ///< a call of a test's decorator round osal::Devices
   Settings        ///< the same round osal::Preferences
};
inline constexpr size_t kFaultKinds = 6;
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
   /// How many calls of the kind there were since its construction, failed ones among them.
   [[nodiscard]] uint64_t Calls() const;
   /// Ends it before the scope does, so that what follows may allocate.
   void Disarm();

private:
   const Fault mFault;
};

/// Counts a call of this kind and says whether it is to fail: for the kit's own traps and for a test's decorators.
[[nodiscard]] bool Strikes(Fault fault);

/// Allocations of this process so far, of any kind; two readings tell whether what lies between allocates.
[[nodiscard]] uint64_t AllocationCount();

} // namespace kit
