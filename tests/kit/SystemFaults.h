#pragma once

#include "tests/kit/Faults.h"

#include <cstddef>
#include <sys/types.h>

/// Failing calls on files and clocks: Fault::SystemCall and Fault::Clock of Faults.h. Link `mavr_system_fault_kit`.
///
///     kit::FailSystemCall fault(nth, {.error = ENOSPC}, kit::Repeat::Once);
///
/// Counted are open, close, read, write, fsync, ftruncate, lseek, fcntl, stat, lstat, fstat, fchmod, flock, mkdir,
/// rename, unlink, readlink, faccessat, opendir and readdir of the test's own objects and everything linked into it
/// from archives; shared libraries (std::filesystem, iostreams) are not touched, so that a test can look at files
/// meanwhile. A call that only gives back what is held (close, flock to unlock) does its work and then reports the
/// failure. With EINTR a close has closed all the same, as the system's has.
namespace kit {

/// What the calls say that fail.
struct SystemFault {
   int error = 0;           ///< errno; opendir and readdir give null with it, the others -1
   bool shortWrite = false; ///< instead: a write takes half of its bytes; only writes of 2 bytes or more are counted
};

/// FailNth for system calls.
class FailSystemCall {
public:
   FailSystemCall(uint64_t nth, SystemFault fault, Repeat repeat);
   ~FailSystemCall();
   FailSystemCall(const FailSystemCall &) = delete;
   FailSystemCall &operator=(const FailSystemCall &) = delete;

   [[nodiscard]] bool Struck() const { return mFault.Struck(); }
   [[nodiscard]] uint64_t Calls() const { return mFault.Calls(); }
   void Disarm() { mFault.Disarm(); }
   /// Name of the last call that failed: "rename". For messages.
   [[nodiscard]] static const char *LastStruck();

private:
   FailNth mFault;
};

/// Sees what a program asks of the system. Called on the thread that asks, after the call, with what it really did.
/// Owner: the test, which installs one for a scope and stays single-threaded meanwhile, or sees to its own locks.
class SystemCallWatch {
public:
   SystemCallWatch();
   virtual ~SystemCallWatch();
   SystemCallWatch(const SystemCallWatch &) = delete;
   SystemCallWatch &operator=(const SystemCallWatch &) = delete;

   /// A write of `size` bytes of which the file took `taken`; -1 for none.
   virtual void Wrote(int /*descriptor*/, const char * /*bytes*/, size_t /*size*/, ssize_t /*taken*/) {}
   /// A call is about to be made on `path`: time to change what it will find. Not for calls that fail on demand.
   virtual void Before(const char * /*call*/, const char * /*path*/) {}
   /// A file lost its name: by unlink, or because another one was renamed to it. `size`: what it held.
   virtual void Removed(const char * /*path*/, uint64_t /*size*/) {}

private:
   SystemCallWatch *mFormer;
};

} // namespace kit
