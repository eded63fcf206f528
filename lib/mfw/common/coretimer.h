#pragma once

#include "lib/mfw/common/corerefex.h"
#include "lib/mfw/common/coretimerindex.h"
#include "lib/mfw/common/linuxSupport.h"

#include <cstdint>

namespace CORE {

// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): only the last reference deletes it
class coretimerservice;

/// A repeating timer: derive from it and write OnTimer, which runs on the process's one timer thread.
///
/// State          | Start         | Stop        | Reset             | due                        | destroyed
/// ---------------|---------------|-------------|-------------------|----------------------------|------------------
/// stopped        | running       | stopped     | stopped           | -                          | gone
/// running        | from now on   | stopped     | from now on       | in callback                | gone
/// in callback    | no effect but the interval's, see OnTimer       | -                          | when it has ended
/// unregistered   | marked only   | marked only | marked only       | -                          | gone
///
/// Owner: references, or a scope; the service owns none between callbacks, so a timer can be released at any moment. A
/// class whose OnTimer uses fields of its own is best released: one that ends with its scope calls StopAndWait, after
/// Stop has had its effect, before those fields go. Threads: any thread, all methods; OnTimer on the service's thread,
/// one timer's at a time. Locks: all fields by the timer lock; OnTimer runs without it. When the last reference goes on
/// the service's thread the destructor runs there, under the timer lock.
/// Life cycle: registered from construction to destruction, unless a shutdown comes, or ran when the service was made:
/// such a timer never fires.
class coretimer : public corerefex<coretimer> {
public:
   /// Throws std::bad_alloc.
   coretimer();
   /// Waits for the end of a callback that is running. Not inside OnTimer of this timer (asserted): it would wait for
   /// itself. To end a timer there, Release it.
   ~coretimer() noexcept(false) override;

   /// The work. True keeps the timer running, false stops it; the interval counts from here on. Required: the result
   /// decides over a Start or Stop that came meanwhile. May call Start, Stop and Reset. If it throws, the service's
   /// thread ends, with a line at ERROR, and no timer of this service fires any more.
   virtual bool OnTimer() = 0;

   /// Runs OnTimer each time that `intervalMS` have passed. 0: again and again. Throws coreException with the system's
   /// error number when the service cannot have its event or its thread; the next Start tries again.
   void Start(uint32_t intervalMS);
   /// OnTimer may still be running.
   void Stop();
   /// OnTimer has ended afterwards; true as its result leaves the timer running. Not inside OnTimer of this timer
   /// (asserted).
   void StopAndWait();
   /// The interval begins anew now.
   void Reset();

private:
   friend class coretimerservice;
   using Counted = corerefex<coretimer>;

   // One thread's wait for the end of a callback; lives on its stack, so that it cannot fail.
   struct DoneWait {
      platforms::WindowsEvent event{false, false};
      DoneWait *next = nullptr;
   };

   bool MustWait(DoneWait &wait);
   static void Await(DoneWait &wait);

   uint32_t mIntervalMS = 0;
   uint32_t mLastTick = 0;         // the tick count from which the interval runs
   bool mInCallback = false;       // OnTimer is running, or about to
   DoneWait *mDoneEvent = nullptr; // who waits for its end
   bool mActive = false;
   int64_t mLastTime = 0;        // mLastTick on the service's clock
   uint32_t mCallbackThread = 0; // where OnTimer is running
   uint64_t mServiceSerial = 0;  // the service that it is registered with; 0 for none
   coretimerentry mEntry{this};
};

} // namespace CORE
