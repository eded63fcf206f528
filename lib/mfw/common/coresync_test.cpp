#include "lib/mfw/common/coresync.h"

#include "tests/kit/Faults.h"

#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <type_traits>

namespace {

// Whether another thread could take the lock now.
bool IsFree(CORE::coresyncObject &lock) {
   bool taken = false;
   std::thread([&]() MAVR_NO_THREAD_SAFETY_ANALYSIS {
      taken = lock.TryLock();
      if (taken) {
         lock.Unlock();
      }
   }).join();
   return taken;
}

// Writes down what is asked of it.
class Recorder : public CORE::coresyncObject {
public:
   using coresyncObject::coresyncObject;
   void Lock() override MAVR_NO_THREAD_SAFETY_ANALYSIS { calls += "Lock "; }
   void Unlock() override MAVR_NO_THREAD_SAFETY_ANALYSIS { calls += "Unlock "; }
   bool TryLock() override MAVR_NO_THREAD_SAFETY_ANALYSIS { return false; }

   std::string calls;
};

static_assert(std::is_abstract_v<CORE::coresyncObject>);
static_assert(std::is_base_of_v<CORE::coreref, CORE::coresyncObject>);
static_assert(sizeof(CORE::coresyncObject) == sizeof(CORE::coreref) + sizeof(char *));
static_assert(sizeof(CORE::corecritsec) == sizeof(CORE::coresyncObject) + sizeof(CRITICAL_SECTION));
static_assert(std::has_virtual_destructor_v<CORE::coresync>);

TEST(CoreSyncObject, CopiesItsName) {
   char name[] = "lock";
   const CORE::corecritsec named(name);
   name[0] = 'x';
   EXPECT_STREQ(named.Name(), "lock");
   EXPECT_EQ(CORE::corecritsec().Name(), nullptr);
   EXPECT_EQ(CORE::corecritsec(nullptr).Name(), nullptr);
}

TEST(CoreSyncObject, HasNoNameWithoutMemory) {
   const kit::FailNth fault(kit::Fault::Allocation, 1);
   const Recorder lock("lock");
   EXPECT_TRUE(fault.Struck());
   EXPECT_EQ(lock.Name(), nullptr);
}

TEST(CoreCritSec, ByValueIsDestroyedWithCountOne) {
   CORE::corecritsec lock;
   EXPECT_EQ(lock.GetRefCount(), 1);
}

TEST(CoreCritSec, OnTheHeapGoesWithItsLastReference) {
   auto *const lock = new CORE::corecritsec("lock");
   EXPECT_EQ(lock->AddRef(), 2);
   EXPECT_EQ(lock->Release(), 1);
   EXPECT_EQ(lock->Release(), 0);
}

TEST(CoreCritSec, DestroyedWhileHeldByReferenceThrows) {
   EXPECT_THROW(
      {
         CORE::corecritsec lock("lock");
         lock.AddRef();
      },
      CORE::coreException);
}

TEST(CoreCritSec, IsFreeAfterAsManyUnlocksAsLocks) MAVR_NO_THREAD_SAFETY_ANALYSIS {
   CORE::corecritsec lock;
   EXPECT_TRUE(IsFree(lock));
   lock.Lock();
   lock.Lock();
   EXPECT_TRUE(lock.TryLock()); // its holder may, again
   EXPECT_FALSE(IsFree(lock));
   lock.Unlock();
   lock.Unlock();
   EXPECT_FALSE(IsFree(lock));
   lock.Unlock();
   EXPECT_TRUE(IsFree(lock));
}

TEST(CoreCritSec, DoesNothingWhileTheProcessIsExiting) MAVR_NO_THREAD_SAFETY_ANALYSIS {
   EXPECT_FALSE(CORE::coreExiting);
   CORE::corecritsec lock;
   CORE::coreExiting = true;
   lock.Lock();
   EXPECT_TRUE(lock.TryLock());
   CORE::coreExiting = false;
   EXPECT_TRUE(IsFree(lock));
   lock.Lock();
   CORE::coreExiting = true;
   EXPECT_TRUE(IsFree(lock)); // TryLock says so to everyone
   lock.Unlock();             // and this gives nothing back
   CORE::coreExiting = false;
   EXPECT_FALSE(IsFree(lock));
   lock.Unlock();
   EXPECT_TRUE(IsFree(lock));
}

TEST(CoreSync, HoldsTheLockForItsScope) {
   CORE::corecritsec lock;
   {
      const CORE::coresync hold(lock);
      EXPECT_FALSE(IsFree(lock));
   }
   EXPECT_TRUE(IsFree(lock));
}

TEST(CoreSync, LocksOnceAndUnlocksOnce) {
   Recorder lock;
   { const CORE::coresync hold(lock); }
   EXPECT_EQ(lock.calls, "Lock Unlock ");
}

TEST(CoreSyncDeathTest, ExceptionInUnlockEndsTheProcess) {
   class Throws : public Recorder {
   public:
      void Unlock() override MAVR_NO_THREAD_SAFETY_ANALYSIS { throw CORE::coreException(5); }
   };
   GTEST_FLAG_SET(death_test_style, "threadsafe");
   EXPECT_DEATH(
      {
         Throws lock;
         const CORE::coresync hold(lock);
      },
      "coreException");
}

TEST(CoreSyncStress, OnlyOneThreadIsInside) {
   CORE::corecritsec lock;
   int64_t count = 0;
   const auto work = [&]() MAVR_NO_THREAD_SAFETY_ANALYSIS {
      for (int i = 0; i < 20'000; ++i) {
         const CORE::coresync hold(lock);
         const CORE::coresync again(lock);
         ++count;
      }
   };
   std::thread other(work);
   work();
   other.join();
   EXPECT_EQ(count, 40'000);
}

} // namespace
