#include "lib/mfw/common/coreref.h"

#include "tests/kit/PerturbedSchedule.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

class Counted : public CORE::coreref {
public:
   ~Counted() noexcept(false) override { ++sDestroyed; }
   using coreref::DropExtraReferences;

   static inline std::atomic<int> sDestroyed{0};
};

class CoreRef : public testing::Test {
protected:
   CoreRef() { Counted::sDestroyed = 0; }
};
using CoreRefStress = CoreRef;

static_assert(sizeof(CORE::coreref) == sizeof(void *) + sizeof(int64_t));
static_assert(std::has_virtual_destructor_v<CORE::coreref>);
static_assert(CORE::coreCheckRefCountOnDelete);

// Behaves like the first three slots of the table of virtual operations, in their order.
TEST_F(CoreRef, CountsFromOneAndTheLastReleaseDeletesOnce) {
   auto *const object = new Counted;
   EXPECT_EQ(object->GetRefCount(), 1);
   EXPECT_EQ(object->AddRef(), 2);
   EXPECT_EQ(object->AddRef(), 3);
   EXPECT_EQ(object->GetRefCount(), 3);
   EXPECT_EQ(object->Release(), 2);
   EXPECT_EQ(object->Release(), 1);
   EXPECT_EQ(Counted::sDestroyed, 0);
   EXPECT_EQ(object->Release(), 0);
   EXPECT_EQ(Counted::sDestroyed, 1);
}

TEST_F(CoreRef, ObjectByValueIsDestroyedWithCountOne) {
   { const Counted object; }
   EXPECT_EQ(Counted::sDestroyed, 1);
}

TEST_F(CoreRef, ObjectThatOthersHoldIsNotDestroyedInSilence) {
   for (const int extra : {1, 2, 100}) {
      try {
         Counted object;
         for (int i = 0; i < extra; ++i) {
            object.AddRef();
         }
      } catch (const CORE::coreException &error) {
         EXPECT_STREQ(error.Message(), "Delete of object with RefCount");
         EXPECT_EQ(error.Code(), 0);
         continue;
      }
      ADD_FAILURE() << "no exception with " << extra;
   }
}

TEST_F(CoreRef, ReferencesThatWereGivenUpDoNotCountAtTheEnd) {
   {
      Counted object;
      object.AddRef();
      object.AddRef();
      object.DropExtraReferences();
      EXPECT_EQ(object.GetRefCount(), 1);
   }
   EXPECT_EQ(Counted::sDestroyed, 1);
}

TEST_F(CoreRefStress, ObjectIsDeletedOnceWhileOthersLookAtItsCount) {
   const kit::PerturbedSchedule schedule;
   for (int round = 0; round < 500; ++round) {
      auto *const object = new Counted;
      std::vector<std::thread> threads;
      for (int i = 0; i < 3; ++i) {
         object->AddRef();
         threads.emplace_back([object] {
            for (int turn = 0; turn < 20; ++turn) {
               EXPECT_GE(object->AddRef(), 2);
               EXPECT_GE(object->GetRefCount(), 2);
               EXPECT_GE(object->Release(), 1);
            }
            object->Release();
         });
      }
      object->Release();
      for (std::thread &thread : threads) {
         thread.join();
      }
      ASSERT_EQ(Counted::sDestroyed, round + 1);
   }
}

} // namespace
