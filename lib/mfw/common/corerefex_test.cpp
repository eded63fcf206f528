#include "lib/mfw/common/corerefex.h"

#include "tests/kit/Faults.h"
#include "tests/kit/ManualClock.h"
#include "tests/kit/PerturbedSchedule.h"

#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

constexpr int64_t kDeadMark = 0xDEAD00;

// What it does while it dies, and while it is looked up, is up to the test.
class Thing : public CORE::corerefex<Thing> {
public:
   ~Thing() override {
      ++sDestroyed;
      if (onDestruction) {
         onDestruction(*this);
      }
   }
   int64_t AddRef() override {
      if (onAddRef) {
         onAddRef();
      }
      return corerefex::AddRef();
   }

   std::function<void(Thing &)> onDestruction;
   std::function<void()> onAddRef;
   static inline std::atomic<int> sDestroyed{0};
};

static_assert(sizeof(CORE::corerefex<Thing>) == sizeof(void *) + 3 * sizeof(int64_t));
static_assert(std::has_virtual_destructor_v<CORE::corerefex<Thing>>);

class CoreRefEx : public testing::Test {
protected:
   CoreRefEx() { Thing::sDestroyed = 0; }
};
using CoreRefExStress = CoreRefEx;

TEST_F(CoreRefEx, CountsFromOneAndTheLastReleaseDeletesOnce) {
   auto *const thing = new Thing;
   EXPECT_EQ(thing->GetRefCount(), 1);
   EXPECT_EQ(thing->AddRef(), 2);
   EXPECT_EQ(thing->Release(), 1);
   EXPECT_EQ(Thing::sDestroyed, 0);
   EXPECT_EQ(thing->Release(), 0);
   EXPECT_EQ(Thing::sDestroyed, 1);
}

TEST_F(CoreRefEx, CountsTheSameOnceAnIdExists) {
   auto *const thing = new Thing;
   EXPECT_NE(thing->GetWeakId(true), 0U);
   EXPECT_EQ(thing->GetRefCount(), 1);
   EXPECT_EQ(thing->AddRef(), 2);
   EXPECT_EQ(thing->AddRef(), 3);
   EXPECT_EQ(thing->Release(), 2);
   EXPECT_EQ(thing->Release(), 1);
   EXPECT_EQ(Thing::sDestroyed, 0);
   EXPECT_EQ(thing->Release(), 0);
   EXPECT_EQ(Thing::sDestroyed, 1);
}

TEST_F(CoreRefEx, ObjectByValueIsDestroyedWithCountOne) {
   uint64_t id = 0;
   {
      const Thing plain;
      Thing named;
      id = named.GetWeakId(true);
   }
   EXPECT_EQ(Thing::sDestroyed, 2);
   const Thing another; // keeps the registry
   EXPECT_EQ(Thing::FindByWeakId(id), nullptr);
}

TEST_F(CoreRefEx, ObjectThatOthersHoldIsNotDestroyedInSilence) {
   for (const bool withId : {false, true}) {
      try {
         Thing thing;
         thing.GetWeakId(withId);
         thing.AddRef();
      } catch (const CORE::coreException &error) {
         EXPECT_STREQ(error.Message(), "Delete of object with RefCount");
         EXPECT_EQ(error.Code(), 0);
         continue;
      }
      ADD_FAILURE() << "no exception, with id: " << withId;
   }
}

TEST_F(CoreRefEx, IdIsMadeOnDemandAndStays) {
   Thing thing;
   EXPECT_EQ(thing.GetWeakId(false), 0U);
   const uint64_t id = thing.GetWeakId(true);
   EXPECT_NE(id, 0U);
   EXPECT_EQ(thing.GetWeakId(false), id);
   EXPECT_EQ(thing.GetWeakId(true), id);
}

TEST_F(CoreRefEx, IdIsTheCounterThenTheTickCountInMilliseconds) {
   kit::ManualClock clock;
   clock.SetWallUs(int64_t{0x1'23456789} * 1000 + 999);
   Thing first;
   Thing second;
   const uint64_t id = first.GetWeakId(true);
   EXPECT_EQ(id & UINT32_MAX, 0x23456789U);
   EXPECT_EQ(second.GetWeakId(true), id + (uint64_t{1} << 32));
}

TEST_F(CoreRefEx, CounterRunsOnAfterTheLastInstance) {
   uint64_t first = 0;
   {
      Thing thing;
      first = thing.GetWeakId(true);
   }
   Thing thing;
   EXPECT_EQ(thing.GetWeakId(true) >> 32, (first >> 32) + 1);
   EXPECT_EQ(Thing::FindByWeakId(first), nullptr);
}

TEST_F(CoreRefEx, IdsThatAreTakenOrZeroAreDrawnAgain) {
   kit::ManualClock clock;
   clock.SetWallUs(0);
   CORE::WeakRegistry registry;
   registry.instances = 1;
   registry.Make();
   {
      const CORE::coresync hold(*registry.lock);
      EXPECT_EQ(registry.objects->max_load_factor(), 1.0F);
      registry.objects->emplace(uint64_t{1} << 32, nullptr);
      registry.objects->emplace(uint64_t{2} << 32, nullptr);
      registry.counter = UINT32_MAX; // the next draw would be 0
      EXPECT_EQ(registry.DrawId(), uint64_t{3} << 32);
   }
   registry.Leave();
   EXPECT_EQ(registry.lock, nullptr);
   EXPECT_EQ(registry.objects, nullptr);
}

TEST_F(CoreRefEx, LookUpGivesAReference) {
   auto *const thing = new Thing;
   const uint64_t id = thing->GetWeakId(true);
   ASSERT_EQ(Thing::FindByWeakId(id), thing);
   EXPECT_EQ(thing->GetRefCount(), 2);
   EXPECT_EQ(thing->Release(), 1);
   EXPECT_EQ(Thing::FindByWeakId(id + 1), nullptr);
   EXPECT_EQ(Thing::FindByWeakId(0), nullptr);
   EXPECT_EQ(thing->GetRefCount(), 1);
   thing->Release();
   EXPECT_EQ(Thing::FindByWeakId(id), nullptr);
}

TEST_F(CoreRefEx, NothingIsFoundBeforeTheFirstIdAndTheFirstInstance) {
   EXPECT_EQ(Thing::FindByWeakId(1), nullptr);
   const Thing thing;
   EXPECT_EQ(Thing::FindByWeakId(1), nullptr);
}

TEST_F(CoreRefEx, EachClassHasARegistryOfItsOwn) {
   class Other : public CORE::corerefex<Other> {};
   Thing thing;
   Other other;
   const uint64_t id = thing.GetWeakId(true);
   other.GetWeakId(true);
   EXPECT_EQ(Other::FindByWeakId(id ^ 0xFFFF), nullptr);
   EXPECT_EQ(thing.GetRefCount(), 1);
}

TEST_F(CoreRefEx, ObjectOnItsWayOutShowsNoCountAndIsNotFound) {
   auto *const thing = new Thing;
   const uint64_t id = thing->GetWeakId(true);
   thing->onDestruction = [id](Thing &dying) {
      EXPECT_EQ(dying.GetRefCount(), 0);
      EXPECT_EQ(Thing::FindByWeakId(id), nullptr);
      EXPECT_EQ(dying.AddRef(), 0);
      EXPECT_EQ(dying.GetRefCount(), 0);
      EXPECT_EQ(dying.Release(), 0); // and does not delete again
      EXPECT_EQ(dying.GetWeakId(true), id);
   };
   EXPECT_EQ(thing->Release(), 0);
   EXPECT_EQ(Thing::sDestroyed, 1);
}

TEST_F(CoreRefEx, ObjectOnItsWayOutGetsNoId) {
   auto *const thing = new Thing;
   thing->onDestruction = [](Thing &dying) {
      EXPECT_EQ(dying.GetWeakId(true), 0U);
   };
   thing->Release();
   EXPECT_EQ(Thing::sDestroyed, 1);
}

TEST_F(CoreRefEx, ReferencesThatItsOwnDestructorGivesAwayAreFoundMissing) {
   auto *const thing = new Thing;
   thing->GetWeakId(true);
   thing->onDestruction = [](Thing &dying) {
      dying.AddRef();
      dying.AddRef();
   };
   EXPECT_THROW(thing->Release(), CORE::coreException);
}

TEST_F(CoreRefEx, CountBelowTheMarkIsShownAsItIsAndFromTheMarkOnAsZero) {
   Thing thing;
   for (int64_t count = 2; count < kDeadMark; ++count) {
      ASSERT_EQ(thing.AddRef(), count);
   }
   EXPECT_EQ(thing.AddRef(), kDeadMark); // without an id the count has no bound,
   EXPECT_EQ(thing.GetRefCount(), kDeadMark);
   EXPECT_EQ(thing.GetWeakId(true), 0U); // and such a count gets no id
   EXPECT_EQ(thing.Release(), kDeadMark - 1);
   EXPECT_NE(thing.GetWeakId(true), 0U);
   EXPECT_EQ(thing.GetRefCount(), kDeadMark - 1);
   EXPECT_EQ(thing.AddRef(), 0);
   EXPECT_EQ(thing.GetRefCount(), 0);
   EXPECT_EQ(thing.AddRef(), 0);
   EXPECT_EQ(thing.Release(), 0);
   EXPECT_EQ(thing.Release(), kDeadMark - 1);
   EXPECT_EQ(thing.AddRef(), 0); // the destructor takes the mark off
}

TEST_F(CoreRefEx, NoMemoryForAnIdLeavesTheObjectWithoutOne) {
   Thing other;
   other.GetWeakId(true); // lock and map are there
   Thing thing;
   kit::FailNth fault(kit::Fault::Allocation, 1);
   EXPECT_THROW(thing.GetWeakId(true), std::bad_alloc);
   fault.Disarm();
   EXPECT_EQ(thing.GetWeakId(false), 0U);
   EXPECT_EQ(thing.GetRefCount(), 1);
   const uint64_t id = thing.GetWeakId(true);
   ASSERT_EQ(Thing::FindByWeakId(id), &thing);
   EXPECT_EQ(thing.Release(), 1);
}

TEST_F(CoreRefEx, NoMemoryForTheRegistryLeavesNothingBehind) {
   for (const uint64_t nth : {1U, 3U, 4U}) { // lock, map, node; the lock's mutex asserts
      Thing thing;
      {
         const kit::FailNth fault(kit::Fault::Allocation, nth);
         EXPECT_THROW(thing.GetWeakId(true), std::bad_alloc) << nth;
      }
      EXPECT_EQ(thing.GetWeakId(false), 0U);
      EXPECT_EQ(Thing::FindByWeakId(1), nullptr);
      EXPECT_NE(thing.GetWeakId(true), 0U);
   }
}

TEST_F(CoreRefEx, CountingAndLookingUpAllocateNothing) {
   Thing thing;
   const uint64_t id = thing.GetWeakId(true);
   const uint64_t before = kit::AllocationCount();
   for (int i = 0; i < 10; ++i) {
      EXPECT_EQ(Thing::FindByWeakId(id), &thing);
      thing.AddRef();
      thing.Release();
      thing.Release();
   }
   EXPECT_EQ(kit::AllocationCount(), before);
}

TEST_F(CoreRefEx, LookUpRestsAMillisecondAtATimeWhileAnotherHoldsTheSpinWord) {
   kit::ManualClock clock;
   Thing thing;
   const uint64_t id = thing.GetWeakId(true);
   std::atomic<bool> inside{false};
   std::atomic<bool> goOn{false};
   thing.onAddRef = [&] {
      inside = true;
      while (!goOn) {
         std::this_thread::yield();
      }
   };
   std::thread first([&] { EXPECT_EQ(Thing::FindByWeakId(id), &thing); });
   while (!inside) {
      std::this_thread::yield();
   }
   const uint64_t start = clock.monotonicNs();
   std::thread second([&] { EXPECT_EQ(Thing::FindByWeakId(id + 1), nullptr); });
   while (clock.monotonicNs() < start + 3'000'000) {
      std::this_thread::yield();
   }
   EXPECT_EQ((clock.monotonicNs() - start) % 1'000'000, 0U);
   goOn = true;
   first.join();
   second.join();
   EXPECT_EQ(thing.Release(), 1);
}

// ---- Stress ---------------------------------------------------------------------------------------------------------

TEST_F(CoreRefExStress, LookUpsRaceWithTheLastRelease) {
   const kit::PerturbedSchedule schedule;
   kit::ManualClock clock; // the rests take no time
   constexpr int kRounds = 2000;
   for (int round = 0; round < kRounds; ++round) {
      auto *const thing = new Thing;
      const uint64_t id = thing->GetWeakId(true);
      std::atomic<int> ready{0};
      const auto lookUp = [&] {
         ++ready;
         while (ready < 2) {
            std::this_thread::yield();
         }
         for (int i = 0; i < 20; ++i) {
            if (Thing *const found = Thing::FindByWeakId(id); found != nullptr) {
               EXPECT_GE(found->GetRefCount(), 1);
               EXPECT_GE(found->AddRef(), 2);
               EXPECT_GE(found->Release(), 1);
               found->Release();
            }
         }
      };
      std::thread other(lookUp);
      ++ready;
      while (ready < 2) {
         std::this_thread::yield();
      }
      thing->Release();
      other.join();
      EXPECT_EQ(Thing::FindByWeakId(id), nullptr);
      ASSERT_EQ(Thing::sDestroyed, round + 1);
   }
}

TEST_F(CoreRefExStress, IdsAreMadeWhileOthersTakeAndGiveBackReferences) {
   const kit::PerturbedSchedule schedule;
   kit::ManualClock clock; // the rests take no time
   for (int round = 0; round < 300; ++round) {
      auto *const thing = new Thing;
      std::vector<std::thread> threads;
      std::atomic<uint64_t> ids[3] = {};
      for (std::atomic<uint64_t> &id : ids) {
         thing->AddRef();
         threads.emplace_back([thing, &id] {
            for (int i = 0; i < 50; ++i) {
               EXPECT_GE(thing->AddRef(), 2);
               EXPECT_GE(thing->Release(), 1);
            }
            id = thing->GetWeakId(true);
            thing->Release();
         });
      }
      thing->Release();
      for (std::thread &thread : threads) {
         thread.join();
      }
      EXPECT_EQ(ids[0], ids[1]);
      EXPECT_EQ(ids[0], ids[2]);
      ASSERT_EQ(Thing::sDestroyed, round + 1);
   }
}

TEST_F(CoreRefExStress, FirstAndLastInstancesComeAndGoBesideLookUps) {
   const kit::PerturbedSchedule schedule;
   kit::ManualClock clock; // the rests take no time
   std::atomic<bool> done{false};
   std::atomic<uint64_t> latest{0};
   std::vector<std::thread> makers;
   for (int i = 0; i < 3; ++i) {
      makers.emplace_back([&] {
         for (int round = 0; round < 1000; ++round) {
            auto *const thing = new Thing;
            const uint64_t id = thing->GetWeakId(true);
            latest = id;
            Thing *const found = Thing::FindByWeakId(id);
            EXPECT_EQ(found, thing);
            if (found != nullptr) {
               found->Release();
            }
            thing->Release();
         }
      });
   }
   std::thread seeker([&] {
      while (!done) {
         if (Thing *const found = Thing::FindByWeakId(latest); found != nullptr) {
            found->Release();
         }
         std::this_thread::yield();
      }
   });
   for (std::thread &maker : makers) {
      maker.join();
   }
   done = true;
   seeker.join();
   EXPECT_EQ(Thing::sDestroyed, 3000);
   EXPECT_EQ(Thing::FindByWeakId(latest), nullptr);
}

} // namespace
