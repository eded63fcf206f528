#pragma once

#include "lib/mfw/common/platforms/windowsHandle.h"

#include <atomic>
#include <cstdint>
#include <pthread.h>

namespace platforms {

using ThreadStart = uint32_t (*)(void *argument);

/// A thread as a handle: set once the thread has ended, for everyone who waits.
///
/// Owner: its creator and the running thread together; the later of the creator's Close and the thread's end deletes
/// it. Threads: any thread. Locks: the handle's guards whether there is still a thread to cancel. Life cycle: Create ->
/// running -> ended (its function has returned, ExitThread, or cancelled). The system's thread is detached: its own end
/// frees it.
class WindowsThread final : public WindowsHandle {
public:
   /// Starts the thread; null, with errno set and a line logged, when it cannot be had.
   [[nodiscard]] static WindowsThread *Create(ThreadStart start, void *argument);

   /// Two-phase: the first call of the two (the creator's, the ended thread's) only notes that it came; the second
   /// deletes the object.
   void Close() override;

   [[nodiscard]] bool IsManualReset() const override { return true; } // its end lets everyone through, for good

   /// 1 and above; no two threads of a process have the same.
   [[nodiscard]] uint32_t Id() const { return mId; }
   /// Asks the thread to end (pthread_cancel); false once it has ended, or is about to.
   [[nodiscard]] bool Cancel();

   /// The generated id of the calling thread, given out at its first call when it was not created here; 0 when that
   /// fails.
   [[nodiscard]] static uint32_t CurrentId();

private:
   WindowsThread(ThreadStart start, void *argument);

   void NoteCreated(pthread_t created);
   static void *Trampoline(void *self);
   static void ExitHook(void *self);

   pthread_t mThread{};
   const uint32_t mId;
   bool mCreated = false; // there is a thread to cancel; guarded by mMutex
   bool mEnded = false;   // guarded by mMutex
   std::atomic<bool> mClosePending{false};
   const ThreadStart mStart;
   void *const mArgument;
};

} // namespace platforms
