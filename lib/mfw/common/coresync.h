#pragma once

#include "lib/mfw/common/coreref.h"
#include "lib/mfw/common/linuxSupport.h"

#include <cstdint>

// What clang's thread-safety analysis reads; nothing for other compilers.
#if defined(__clang__)
#define MAVR_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define MAVR_THREAD_ANNOTATION(x)
#endif
#define MAVR_CAPABILITY(name) MAVR_THREAD_ANNOTATION(capability(name))
#define MAVR_SCOPED_CAPABILITY MAVR_THREAD_ANNOTATION(scoped_lockable)
#define MAVR_GUARDED_BY(lock) MAVR_THREAD_ANNOTATION(guarded_by(lock))
#define MAVR_PT_GUARDED_BY(lock) MAVR_THREAD_ANNOTATION(pt_guarded_by(lock))
#define MAVR_REQUIRES(...) MAVR_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define MAVR_ACQUIRE(...) MAVR_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define MAVR_RELEASE(...) MAVR_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define MAVR_TRY_ACQUIRE(...) MAVR_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define MAVR_NO_THREAD_SAFETY_ANALYSIS MAVR_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace CORE {

/// A lock as an interface. Named on the heap or by value; the name is for people.
class MAVR_CAPABILITY("lock") coresyncObject : public coreref {
public:
   /// `name` is copied; null for none.
   explicit coresyncObject(const char *name = nullptr);
   ~coresyncObject() noexcept(false) override;

   virtual void Lock() MAVR_ACQUIRE() = 0;
   virtual void Unlock() MAVR_RELEASE() = 0;
   [[nodiscard]] virtual bool TryLock() MAVR_TRY_ACQUIRE(true) = 0;

   [[nodiscard]] const char *Name() const { return mName; } ///< null without one

private:
   char *mName;
};

/// A recursive lock: its holder may take it again, and gives it back as often. While coreExiting is set it does
/// nothing, and TryLock succeeds. Hold it through a coresync.
class corecritsec : public coresyncObject {
public:
   explicit corecritsec(const char *name = nullptr);
   ~corecritsec() noexcept(false) override;

   void Lock() override MAVR_ACQUIRE() {
      if (!coreExiting.load(std::memory_order_relaxed)) {
         EnterCriticalSection(&mMutex);
      }
   }
   void Unlock() override MAVR_RELEASE() {
      if (!coreExiting.load(std::memory_order_relaxed)) {
         LeaveCriticalSection(&mMutex);
      }
   }
   [[nodiscard]] bool TryLock() override MAVR_TRY_ACQUIRE(true) {
      return coreExiting.load(std::memory_order_relaxed) || TryEnterCriticalSection(&mMutex);
   }

private:
   CRITICAL_SECTION mMutex = nullptr;
};

/// Holds a lock for the length of a scope.
class MAVR_SCOPED_CAPABILITY coresync {
public:
   explicit coresync(coresyncObject &object) MAVR_ACQUIRE(object)
       : mObject(object) {
      mObject.Lock();
   }
   coresync(const coresync &) = delete;
   coresync &operator=(const coresync &) = delete;
   /// An exception on this path ends the process.
   virtual ~coresync() MAVR_RELEASE() {
      for (; mLockCount > 0; --mLockCount) {
         mObject.Unlock();
      }
   }

private:
   coresyncObject &mObject;
   uint32_t mLockCount = 1;
};

} // namespace CORE
