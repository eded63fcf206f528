#include "lib/mfw/common/coretimerservice.h"

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/coreshutdown.h"
#include "lib/mfw/common/coretimerTestKit.h"
#include "lib/mfw/common/logger.h"
#include "tests/kit/PerturbedSchedule.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace CORE {
namespace {

using timer_test::Gate;
using timer_test::Nothing;
using timer_test::Probe;
using timer_test::Timers;

using Fired = std::vector<std::string>;

class TimerService : public testing::Test, public Timers {};

uint32_t Draw(std::mt19937 &random, uint32_t below) {
   return static_cast<uint32_t>(random() % below);
}

int64_t ServiceReferences() {
   const coresynctimer hold;
   return coretimerservice::Current()->GetRefCount();
}

TEST_F(TimerService, LivesWhileThereAreTimers) {
   EXPECT_FALSE(HasService());
   auto *const first = new Nothing;
   auto *const second = new Nothing;
   EXPECT_EQ(ServiceReferences(), 3);
   EXPECT_EQ(clock.Sleepers(), 0U) << "no thread before the first Start";
   first->Start(10);
   Settle(10);
   EXPECT_EQ(ServiceReferences(), 4) << "the thread's";
   first->Release();
   EXPECT_TRUE(HasService());
   second->Release();
   EXPECT_FALSE(HasService());
   AwaitNoService();
}

TEST_F(TimerService, IsMadeAgainByTheNextTimer) {
   for (int i = 0; i < 5; ++i) {
      auto *const probe = new Probe("a", *this, nullptr);
      probe->Start(10);
      while (Fires().size() <= static_cast<size_t>(i)) {
         Advance(1);
      }
      probe->StopAndWait(); // the service's own reference is back
      probe->Release();
      EXPECT_FALSE(HasService());
   }
}

TEST_F(TimerService, JudgesLatenessAndSlowness) {
   EXPECT_FALSE(coretimerservice::IsMissed(1400, 1000));
   EXPECT_TRUE(coretimerservice::IsMissed(1401, 1000));
   EXPECT_FALSE(coretimerservice::IsMissed(0, 0));
   EXPECT_TRUE(coretimerservice::IsMissed(1, 0)); // Required: an interval of 0 is late after a millisecond
   EXPECT_FALSE(coretimerservice::IsMissed(0xFFFFFFFF, 0xB6DB6DB6)); // Required: 32-bit floats, to which they are equal
   EXPECT_TRUE(coretimerservice::IsMissed(0xFFFFFFFF, 0xB6DB6D00));
   EXPECT_FALSE(coretimerservice::IsMissed(0xFFFFFFFF, 0xFFFFFFFF));
   EXPECT_FALSE(coretimerservice::IsSlow(10000));
   EXPECT_TRUE(coretimerservice::IsSlow(10001));
}

// ---- Shutdown -------------------------------------------------------------------------------------------------------

TEST_F(TimerService, EndsWithAShutdownAndItsTimersNeverFireAgain) {
   Probe *const probe = Make("a");
   probe->Start(10);
   Settle(10);
   waitForAllThreads(0);
   EXPECT_FALSE(HasService());
   AwaitNoService();
   probe->Start(10);
   probe->Reset();
   probe->Stop();
   probe->StopAndWait();
   Advance(100);
   EXPECT_EQ(clock.Sleepers(), 0U);
   auto *const next = new Probe("next", *this, nullptr); // between two shutdowns there may be timers again
   next->Start(10);
   Settle(10);
   probe->Start(5);
   Advance(10);
   Settle(10);
   EXPECT_EQ(Fires(), Fired{"next@135"});
   Forget(probe);
   EXPECT_TRUE(HasService()) << "a timer of a former service takes nothing away from this one";
   next->Release();
}

TEST_F(TimerService, LetsACallbackEndDuringAShutdown) {
   Probe *const probe = Make("a", [](Probe &self) {
      waitForAllThreads(0);
      self.Start(1);
      return true;
   });
   probe->Start(10);
   Settle(10);
   Advance(10);
   AwaitNoService();
   Advance(100);
   EXPECT_EQ(Fires().size(), 1U);
}

TEST_F(TimerService, MadeDuringAShutdownTakesNoTimer) {
   registerShutdownCallback([] {
      auto *const skipped = new Nothing;
      skipped->Start(10); // marks it, and no more
      EXPECT_TRUE(HasService());
      auto *const another = new Nothing;
      EXPECT_EQ(skipped->Release(), 0);
      EXPECT_EQ(another->Release(), 0);
      EXPECT_FALSE(HasService());
   });
   waitForAllThreads(0);
   EXPECT_EQ(log.Count(logger::TRACE, "Add of timer skipped at shutdown"), 2) << log.Dump();
   Make("a")->Start(10);
   Settle(10);
}

TEST_F(TimerService, RegistersForShutdownOnceHoweverOftenItIsMade) {
   for (int i = 0; i < 100; ++i) {
      (new Nothing)->Release();
   }
   static int calls = 0;
   registerShutdownCallback([] { ++calls; });
   EXPECT_FALSE(HasService());
   Make("a")->Start(10);
   Settle(10);
   waitForAllThreads(0);
   EXPECT_FALSE(HasService());
   EXPECT_EQ(calls, 1);
}

// ---- Callbacks that do not come back --------------------------------------------------------------------------------

TEST_F(TimerService, EndsWithACallbackThatThrowsAndLeavesNobodyWaiting) {
   for (const bool exits : {false, true}) {
      Gate inside;
      Gate leave;
      auto *const probe = new Probe("a", *this, [&](Probe &) -> bool {
         inside.Open();
         leave.Pass();
         if (exits) {
            ExitThread(1);
         }
         throw coreException("broken");
      });
      Probe *const other = new Probe("other", *this, nullptr);
      other->Start(1000);
      probe->Start(0);
      inside.Pass();
      std::thread waiter([&] { probe->StopAndWait(); });
      clock.AwaitSleepers(2);
      leave.Open();
      waiter.join();
      while (ServiceReferences() != 3) { // the thread's is gone
         std::this_thread::yield();
      }
      probe->StopAndWait();
      other->Start(1); // Required: no timer of this service fires any more
      Advance(1000);
      EXPECT_EQ(clock.Sleepers(), 0U);
      EXPECT_EQ(probe->Release(), 0);
      EXPECT_EQ(other->Release(), 0);
      EXPECT_FALSE(HasService());
   }
   EXPECT_EQ(Fires().size(), 2U);
   EXPECT_EQ(log.Count(logger::ERROR, "Runnable: %s EXCEPTION %s", "TimerService", "broken"), 1) << log.Dump();
   Make("next")->Start(10); // the next service is a new one
   Settle(10);
}

TEST_F(TimerService, ThatCannotHaveAThreadSaysSoToStartAndTriesAgain) {
   const BeginThread former = coreBeginThread;
   coreBeginThread = [](void *, uint32_t, platforms::ThreadStart, void *, uint32_t, uint32_t *) -> HANDLE {
      errno = EAGAIN;
      return nullptr;
   };
   Probe *const probe = Make("a");
   for (int i = 0; i < 2; ++i) {
      try {
         probe->Start(10);
         ADD_FAILURE();
      } catch (const coreException &exception) {
         EXPECT_EQ(exception.Code(), EAGAIN);
      }
   }
   coreBeginThread = former;
   probe->Start(10);
   Settle(10);
}

// ---- Order ----------------------------------------------------------------------------------------------------------

/// What the service does, as the walk through all timers at each look.
struct Model {
   struct Timer {
      uint32_t interval;
      uint32_t last;
      bool active;
   };
   std::vector<Timer> timers;
   uint32_t now = 0;

   size_t Fire() {
      for (;;) {
         uint32_t wait = UINT32_MAX;
         for (size_t i = 0; i < timers.size(); ++i) {
            if (!timers[i].active) {
               continue;
            }
            const uint32_t elapsed = now - timers[i].last;
            if (timers[i].interval <= elapsed) {
               return i;
            }
            wait = std::min(wait, timers[i].interval - elapsed);
         }
         now += wait;
      }
   }
};

TEST(TimerOrder, IsThatOfAWalkThroughAllTimers) {
   for (uint32_t seed = 1; seed <= 60; ++seed) {
      Timers diary;
      std::mt19937 random(seed);
      const size_t count = 2 + Draw(random, 30);
      diary.clock.SetWallUs((int64_t{1} << 32) * 400 * 1000 - int64_t{Draw(random, 2000)} * 1000);
      Model model;
      std::vector<std::string> expected;
      constexpr size_t kFires = 300;
      size_t fires = 0;
      // How long each callback takes is decided beforehand.
      std::vector<uint32_t> takes;
      for (size_t i = 0; i < kFires; ++i) {
         takes.push_back(Draw(random, 3) == 0 ? Draw(random, 9) : 0);
      }
      std::vector<Probe *> probes;
      for (size_t i = 0; i < count; ++i) {
         model.timers.push_back({1 + Draw(random, 12), 0, true});
         probes.push_back(diary.Make(std::to_string(i).c_str(), [&](Probe &) {
            if (fires >= kFires) {
               return false;
            }
            diary.clock.AdvanceMs(takes[fires]);
            return ++fires < kFires;
         }));
      }
      Probe *const gate = diary.MakeGated("gate");
      gate->Start(0);
      diary.AwaitCount(1);
      for (size_t i = 0; i < count; ++i) {
         probes[i]->Start(model.timers[i].interval);
      }
      expected.emplace_back("gate@0");
      for (size_t i = 0; i < kFires; ++i) {
         const size_t fired = model.Fire();
         expected.push_back(std::to_string(fired) + "@" + std::to_string(model.now));
         model.now += takes[i];
         model.timers[fired].last = model.now;
      }
      diary.clock.SetJumping(true);
      gate->gate.Open();
      while (diary.Fires().size() <= kFires) {
         std::this_thread::yield();
      }
      for (Probe *const probe : probes) {
         probe->StopAndWait();
      }
      std::vector<std::string> found = diary.Fires();
      found.resize(kFires + 1);
      ASSERT_EQ(found, expected) << "seed " << seed;
   }
}

// ---- Many at a time -------------------------------------------------------------------------------------------------

TEST(TimerStress, StartsStopsAndDestroysAtEveryPoint) {
   const kit::PerturbedSchedule schedule;
   kit::LogCapture log; // late ones are reported, as they are under such a load
   struct Busy final : coretimer {
      bool OnTimer() override {
         if (++calls % 3 == 0) {
            Start(calls % 2);
         } else if (calls % 3 == 1) {
            Stop();
         }
         return calls % 7 != 0;
      }
      uint32_t calls = 0; // on the service's thread alone
   };
   std::atomic<Busy *> shared[4] = {};
   std::vector<std::thread> threads;
   for (uint32_t seed = 1; seed <= 4; ++seed) {
      threads.emplace_back([seed, &shared] {
         std::mt19937 random(seed);
         for (int i = 0; i < 400; ++i) {
            // Whoever takes a timer out of its place holds its reference.
            std::atomic<Busy *> &place = shared[Draw(random, 4)];
            Busy *timer = place.exchange(nullptr);
            if (timer == nullptr) {
               timer = new Busy;
            }
            switch (Draw(random, 6)) {
            case 0:
            case 1:
               timer->Start(Draw(random, 2));
               break;
            case 2:
               timer->Stop();
               break;
            case 3:
               timer->StopAndWait();
               break;
            case 4:
               timer->Reset();
               break;
            default:
               timer->Release();
               continue;
            }
            if (Busy *const other = place.exchange(timer); other != nullptr) {
               other->Release();
            }
         }
      });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   for (std::atomic<Busy *> &place : shared) {
      if (Busy *const timer = place.load(); timer != nullptr) {
         timer->Release();
      }
   }
   EXPECT_EQ(log.Count(logger::ERROR, "Runnable: %s EXCEPTION", "TimerService"), 0);
   while (Timers::HasService()) { // a timer released in its callback goes when that has ended
      std::this_thread::yield();
   }
}

TEST(TimerStress, ShutsDownWhileTimersComeAndGo) {
   const kit::PerturbedSchedule schedule;
   Timers timers; // on their clock a shutdown's rest takes no time
   std::atomic<bool> stop{false};
   std::vector<std::thread> threads;
   for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&] {
         while (!stop) {
            auto *const timer = new Nothing;
            timer->Start(0);
            timer->StopAndWait();
            timer->Stop();
            timer->Release();
         }
      });
   }
   for (int i = 0; i < 50; ++i) {
      waitForAllThreads(0);
   }
   stop = true;
   for (std::thread &thread : threads) {
      thread.join();
   }
}

} // namespace
} // namespace CORE
