#include "osal/common/DeliveryThread.h"

#include "osal/common/OutOfMemory.h"

#include <csignal>
#include <system_error>

namespace osal {
namespace {

void *RunBody(void *body) {
   static_cast<DeliveryThread::Body *>(body)->Run();
   return nullptr;
}

} // namespace

Status DeliveryThread::Start(Body *body) {
   sigset_t blocked;
   sigset_t former;
   sigfillset(&blocked);
   for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP}) {
      sigdelset(&blocked, fault);
   }
   pthread_sigmask(SIG_SETMASK, &blocked, &former);
   const int error = pthread_create(&mThread, nullptr, RunBody, body);
   pthread_sigmask(SIG_SETMASK, &former, nullptr);
   if (error != 0) {
      return UnlessOutOfMemory(
         [&] { return Status::Error(error, "no thread to deliver on: " + std::generic_category().message(error)); },
         NoMemory());
   }
   mIsStarted = true;
   return Status::Ok();
}

void DeliveryThread::Join() {
   if (mIsStarted) {
      pthread_join(mThread, nullptr);
      mIsStarted = false;
   }
}

} // namespace osal
