#include "lib/mfw/common/platforms/windowsThread.h"

#include "lib/mfw/common/logger.h"

#include "osal/SchedulePoint.h"

#include <cerrno>
#include <cstdlib>
#include <new>

namespace platforms {
namespace {

std::atomic<uint32_t> gLastId{0};

// The key under which a thread keeps its id, in a block of its own; made once. 0 where it could not be had.
struct IdKey {
   pthread_key_t key{};
   const bool valid = pthread_key_create(&key, std::free) == 0;
};

const IdKey &TheIdKey() {
   static const IdKey idKey;
   return idKey;
}

bool StoreId(pthread_key_t key, uint32_t id) {
   auto *const block = static_cast<uint32_t *>(std::malloc(sizeof(uint32_t)));
   if (block == nullptr) {
      return false;
   }
   *block = id;
   if (pthread_setspecific(key, block) != 0) {
      std::free(block);
      return false;
   }
   return true;
}

} // namespace

WindowsThread::WindowsThread(ThreadStart start, void *argument)
    : mId(gLastId.fetch_add(1) + 1)
    , mStart(start)
    , mArgument(argument) {}

WindowsThread *WindowsThread::Create(ThreadStart start, void *argument) {
   auto *const thread = new (std::nothrow) WindowsThread(start, argument);
   if (thread == nullptr) {
      errno = ENOMEM;
      return nullptr;
   }
   const uint32_t id = thread->mId;
   pthread_t created{};
   const int error = pthread_create(&created, nullptr, Trampoline, thread);
   if (error != 0) {
      MAVR_LOG_ERROR("Error creating WindowsThread. Generated Id = %d. Error No: %d", static_cast<int>(id), error);
      delete thread;
      errno = error;
      return nullptr;
   }
   thread->NoteCreated(created);
   MAVR_LOG_TRACE("Created WindowsThread. Id = %lu. Generated Id = %d", static_cast<unsigned long>(created),
                  static_cast<int>(id));
   return thread;
}

void WindowsThread::Close() {
   if (mClosePending.exchange(true)) {
      WindowsHandle::Close();
   }
}

// The thread may be past its end by now, and its number another's.
void WindowsThread::NoteCreated(pthread_t created) {
   const std::lock_guard<std::mutex> hold(mMutex);
   mThread = created;
   mCreated = !mEnded;
}

// Under the mutex that the ending thread takes too: while it is held the number stays the thread's.
bool WindowsThread::Cancel() {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mCreated && pthread_cancel(mThread) == 0;
}

void *WindowsThread::Trampoline(void *self) {
   auto *const thread = static_cast<WindowsThread *>(self);
   pthread_cleanup_push(ExitHook, thread);
   pthread_detach(pthread_self()); // nobody joins: its end is waited for through the handle
   if (TheIdKey().valid) {
      StoreId(TheIdKey().key, thread->mId);
   } else {
      MAVR_LOG_FATAL("Unable to initialize TLS for WindowsThread");
   }
   thread->mStart(thread->mArgument);
   pthread_cleanup_pop(1);
   return nullptr;
}

void WindowsThread::ExitHook(void *self) {
   auto *const thread = static_cast<WindowsThread *>(self);
   pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); // the end has begun; nothing interrupts it
   {
      const std::lock_guard<std::mutex> hold(thread->mMutex);
      thread->mCreated = false;
      thread->mEnded = true;
   }
   osal::schedulePoint();
   thread->Set();
   osal::schedulePoint();
   thread->Close();
}

uint32_t WindowsThread::CurrentId() {
   if (!TheIdKey().valid) {
      return 0;
   }
   if (const void *const block = pthread_getspecific(TheIdKey().key); block != nullptr) {
      return *static_cast<const uint32_t *>(block);
   }
   const uint32_t id = gLastId.fetch_add(1) + 1;
   return StoreId(TheIdKey().key, id) ? id : 0;
}

} // namespace platforms
