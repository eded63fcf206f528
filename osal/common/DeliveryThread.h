#pragma once

#include "osal/Status.h"

#include <pthread.h>

namespace osal {

/// A thread of a backend. Signals of the host, other than faults, are not handled on it.
///
/// Owner: the stream. Threads: Start and Join on one at a time, never on the thread itself. Life cycle: Start -> Join.
class DeliveryThread {
public:
   /// What the thread does. Must not throw; outlives the thread.
   class Body {
   public:
      virtual void Run() = 0;

   protected:
      ~Body() = default;
   };

   DeliveryThread() = default;
   ~DeliveryThread() { Join(); }
   DeliveryThread(const DeliveryThread &) = delete;
   DeliveryThread &operator=(const DeliveryThread &) = delete;

   /// EAGAIN and the like when the system has no room for another thread.
   Status Start(Body *body);
   /// Returns when Run has. Nothing without a thread.
   void Join();

private:
   pthread_t mThread{};
   bool mIsStarted = false;
};

} // namespace osal
