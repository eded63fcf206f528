#include "lib/mfw/common/coretimer.h"

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/coretimerTestKit.h"
#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <typeinfo>

namespace CORE {
namespace {

using timer_test::Gate;
using timer_test::Probe;
using timer_test::Timers;

using Fired = std::vector<std::string>;

class Timer : public testing::Test, public Timers {};

TEST_F(Timer, FiresAgainEachIntervalUntilItIsStopped) {
   Probe *const probe = Make("a");
   probe->Start(1000);
   Settle(1000);
   Advance(999);
   EXPECT_EQ(Fires(), Fired{});
   Advance(1);
   Settle(1000);
   EXPECT_EQ(Fires(), Fired{"a@1000"});
   Advance(1000);
   Settle(1000);
   EXPECT_EQ(Fires(), (Fired{"a@1000", "a@2000"}));
   probe->Stop();
   Advance(1000); // the thread wakes up for the deadline that was, and finds nothing to do
   SettleIdle();
   EXPECT_EQ(Fires().size(), 2U);
}

TEST_F(Timer, CountsItsIntervalFromTheEndOfTheCallback) {
   Probe *const probe = Make("a", [this](Probe &) {
      clock.AdvanceMs(300);
      return true;
   });
   probe->Start(1000);
   Settle(1000);
   Advance(1000);
   Settle(1000); // at 1300
   Advance(1000);
   Settle(1000);
   EXPECT_EQ(Fires(), (Fired{"a@1000", "a@2300"}));
}

TEST_F(Timer, FiresInOrderOfRegistrationWhenSeveralAreDue) {
   Probe *const first = Make("first");
   Probe *const second = Make("second");
   Probe *const third = Make("third");
   third->Start(100);
   second->Start(300);
   first->Start(200);
   Settle(100);
   Advance(300);
   Settle(100);
   EXPECT_EQ(Fires(), (Fired{"first@300", "second@300", "third@300"}));
}

TEST_F(Timer, OfInterval0FiresBackToBackAndWinsAgainstLaterOnes) {
   int left = 3;
   Probe *const busy = Make("busy", [&](Probe &) { return --left > 0; });
   Probe *const later = Make("later", [](Probe &) { return false; });
   Probe *const gate = MakeGated("gate");
   gate->Start(0);
   AwaitCount(1);
   later->Start(0);
   busy->Start(0);
   gate->gate.Open();
   AwaitCount(5);
   SettleIdle();
   EXPECT_EQ(Fires(), (Fired{"gate@0", "busy@0", "busy@0", "busy@0", "later@0"}));
}

TEST_F(Timer, StopsWhenItsCallbackReturnsFalse) {
   Probe *const probe = Make("a", [](Probe &) { return false; });
   probe->Start(10);
   Settle(10);
   Advance(10);
   SettleIdle();
   Advance(100);
   EXPECT_EQ(Fires(), Fired{"a@10"});
   probe->Start(10);
   Settle(10);
}

// Required: what the callback returns is stored after a Stop or Start that came while it ran.
TEST_F(Timer, GoesOnAfterAStopDuringTheCallbackThatReturnsTrue) {
   Make("a", [](Probe &self) {
      self.Stop();
      return true;
   })->Start(10);
   Settle(10);
   Advance(10);
   Settle(10);
   EXPECT_EQ(Fires().size(), 1U);
}

TEST_F(Timer, IsStoppedAfterAStartDuringTheCallbackThatReturnsFalseButKeepsTheInterval) {
   Make("a", [](Probe &self) {
      self.Start(70);
      return false;
   })->Start(10);
   Make("b", [](Probe &self) {
      self.Start(70);
      self.Reset();
      return true;
   })->Start(20);
   Settle(10);
   Advance(10);
   Settle(10);
   Advance(10);
   Settle(70);
   EXPECT_EQ(Fires(), (Fired{"a@10", "b@20"}));
}

TEST_F(Timer, BeginsItsIntervalAnewAtResetAndAtStart) {
   Probe *const probe = Make("a");
   probe->Start(1000);
   Settle(1000);
   Advance(600);
   probe->Reset(); // no reason to wake up: the deadline only moves on
   EXPECT_EQ(MsToDeadline(), 400U);
   Advance(400);
   Settle(600);
   probe->Start(50);
   Settle(50);
   Advance(50);
   Settle(50);
   EXPECT_EQ(Fires(), Fired{"a@1050"});
}

TEST_F(Timer, IsNotStartedByReset) {
   Probe *const other = Make("other");
   other->Start(1000);
   Make("a")->Reset();
   Settle(1000);
}

TEST_F(Timer, WakesTheServiceForNothingButADeadline) {
   Make("a")->Start(1000);
   Settle(1000);
   for (int i = 0; i < 9; ++i) {
      Advance(100);
      EXPECT_EQ(clock.Sleepers(), 1U);
   }
   EXPECT_EQ(MsToDeadline(), 100U);
}

// ---- States ---------------------------------------------------------------------------------------------------------

// The table of the header: what a timer of 100 ms does within the next 100 after a call in each state.
TEST_F(Timer, DoesWhatItsTableSaysInEachState) {
   enum class State { Stopped, Running, InCallbackTrue, InCallbackFalse };
   enum class Call { Start, Stop, Reset };
   struct Cell {
      State state;
      Call call;
      bool fires;
   };
   const Cell table[] = {
      {State::Stopped, Call::Start, true},         {State::Stopped, Call::Stop, false},
      {State::Stopped, Call::Reset, false},        {State::Running, Call::Start, true},
      {State::Running, Call::Stop, false},         {State::Running, Call::Reset, true},
      {State::InCallbackTrue, Call::Start, true},  {State::InCallbackTrue, Call::Stop, true},
      {State::InCallbackTrue, Call::Reset, true},  {State::InCallbackFalse, Call::Start, false},
      {State::InCallbackFalse, Call::Stop, false}, {State::InCallbackFalse, Call::Reset, false},
   };
   constexpr uint32_t kLong = 1'000'000;
   Probe *const keeper = Make("keeper");
   for (const Cell &cell : table) {
      const auto act = [&](Probe &probe) {
         cell.call == Call::Start ? probe.Start(100) : cell.call == Call::Stop ? probe.Stop() : probe.Reset();
      };
      int calls = 0;
      Probe *const probe = Make("a", [&](Probe &self) {
         if (++calls == 1 && cell.state >= State::InCallbackTrue) {
            act(self);
            return cell.state == State::InCallbackTrue;
         }
         return false;
      });
      keeper->Start(kLong);
      Settle(kLong);
      if (cell.state != State::Stopped) {
         probe->Start(100);
         Settle(100);
      }
      uint32_t passed = 100;
      if (cell.state >= State::InCallbackTrue) {
         Advance(100);
         passed = 200;
         Settle(cell.fires ? 100 : kLong - 100);
      } else {
         act(*probe);
      }
      const size_t before = Fires().size();
      Advance(100);
      AwaitCount(before + (cell.fires ? 1 : 0));
      Settle(kLong - passed);
      EXPECT_EQ(Fires().size() - before, cell.fires ? 1U : 0U)
         << static_cast<int>(cell.state) << " " << static_cast<int>(cell.call);
      Forget(probe);
   }
}

// ---- The end of a timer ---------------------------------------------------------------------------------------------

TEST_F(Timer, IsWaitedForByStopAndWaitFromManyThreads) {
   Probe *const probe = MakeGated("a");
   probe->Start(10);
   Settle(10);
   Advance(10);
   AwaitCount(1);
   std::atomic<int> out{0};
   std::vector<std::thread> threads;
   for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&] {
         probe->StopAndWait();
         ++out;
      });
   }
   clock.AwaitSleepers(4); // and the callback
   EXPECT_EQ(out.load(), 0);
   probe->gate.Open();
   for (std::thread &thread : threads) {
      thread.join();
   }
   EXPECT_EQ(out.load(), 3);
   probe->StopAndWait(); // nothing to wait for
}

TEST_F(Timer, IsWaitedForByItsDestructor) {
   struct Meeting {
      Gate inside;
      Gate leave;
      std::atomic<bool> done{false};
   } meeting;
   struct Plain final : coretimer {
      explicit Plain(Meeting &with)
          : where(with) {}
      bool OnTimer() override {
         Meeting &here = where;
         here.inside.Open();
         here.leave.Pass();
         here.done = true;
         return true;
      }
      Meeting &where;
   };
   {
      Plain plain(meeting);
      plain.Start(0);
      meeting.inside.Pass();
      std::thread([&] {
         clock.AwaitSleepers(2); // the callback, and the destructor
         EXPECT_FALSE(meeting.done);
         meeting.leave.Open();
      }).detach();
   } // the service has given its reference back by then: else it throws
   EXPECT_TRUE(meeting.done);
}

TEST_F(Timer, ReleasedInItsOwnCallbackGoesWhenThatHasEnded) {
   Gate gone;
   auto *const probe = new Probe("a", *this, [](Probe &self) {
      EXPECT_EQ(self.GetRefCount(), 2);
      EXPECT_EQ(self.Release(), 1);
      return true;
   });
   probe->gone = &gone;
   probe->Start(0);
   gone.Pass();
   EXPECT_EQ(Fires().size(), 1U);
}

TEST_F(Timer, ReleasedByAnotherDuringTheCallbackOutlivesIt) {
   Gate gone;
   auto *const probe = new Probe("a", *this, nullptr);
   probe->gated = true;
   probe->gone = &gone;
   probe->Start(0);
   AwaitCount(1);
   EXPECT_EQ(probe->Release(), 1);
   probe->gate.Open();
   gone.Pass();
}

TEST_F(Timer, ThatIsReleasedIsFoundNoMore) {
   Probe *const keeps = Make("keeps");
   keeps->Start(100);
   auto *const probe = new Probe("a", *this, nullptr);
   probe->Start(50);
   Settle(50);
   EXPECT_EQ(probe->Release(), 0);
   Advance(100);
   Settle(100);
   EXPECT_EQ(Fires(), Fired{"keeps@100"});
}

TEST_F(Timer, ReleasedFromAnotherTimersCallbackNeverFires) {
   auto *const victim = new Probe("victim", *this, nullptr);
   Probe *const killer = Make("killer", [&](Probe &) {
      EXPECT_EQ(victim->Release(), 0);
      return false;
   });
   victim->Start(101);
   killer->Start(100);
   Settle(100);
   Advance(100);
   SettleIdle();
   Advance(100);
   EXPECT_EQ(Fires(), Fired{"killer@100"});
}

TEST(TimerDeathTest, WaitsForItselfNever) {
   GTEST_FLAG_SET(death_test_style, "threadsafe");
   EXPECT_DEATH(
      {
         Timers timers;
         timers
            .Make("a",
                  [](Probe &self) {
                     self.StopAndWait();
                     return true;
                  })
            ->Start(0);
         timers.SettleIdle();
      },
      "waitsForItself");
}

TEST_F(Timer, DoesNotWaitWhileTheProcessIsExiting) {
   Probe *const probe = MakeGated("a");
   probe->Start(0);
   AwaitCount(1);
   coreExiting = true;
   probe->StopAndWait();
   coreExiting = false;
   probe->gate.Open();
   probe->StopAndWait();
}

// ---- Reports --------------------------------------------------------------------------------------------------------

TEST_F(Timer, IsReportedAsMissedAboveOnePointFourIntervals) {
   const char *const name = typeid(Probe).name();
   const uint32_t start = Tick();
   Make("a")->Start(1000);
   Settle(1000);
   Advance(1400);
   Settle(1000);
   EXPECT_EQ(log.CountLevel(logger::ERROR), 0) << log.Dump();
   Advance(1401);
   Settle(1000);
   EXPECT_TRUE(log.Saw(logger::ERROR,
                       "Timer callback missed by 1.4x, name=%s, expected=%u, now=%u, interval=%u, intervalElapsed=%u",
                       name, start + 1400, start + 2801, 1000U, 1401U))
      << log.Dump();
   EXPECT_EQ(Fires().size(), 2U);
}

TEST_F(Timer, IsReportedAsSlowFrom10001Milliseconds) {
   uint64_t takes = 10000;
   const uint32_t start = Tick();
   Make("a", [&](Probe &) {
      clock.AdvanceMs(takes);
      return true;
   })->Start(20000);
   Settle(20000);
   Advance(20000);
   Settle(20000);
   EXPECT_EQ(log.CountLevel(logger::ERROR), 0) << log.Dump();
   takes = 10001;
   Advance(20000);
   Settle(20000);
   EXPECT_TRUE(log.Saw(logger::ERROR, "Detected a slow timer callback, name=%s, start=%u, end=%u, cbElapsed=%u",
                       typeid(Probe).name(), start + 50000, start + 60001, 10001U))
      << log.Dump();
   EXPECT_EQ(log.CountLevel(logger::ERROR), 1) << log.Dump();
}

TEST_F(Timer, TellsOfEachCallbackWhenTheServiceIsVerbose) {
   const char *const name = typeid(Probe).name();
   const uint32_t start = Tick();
   Probe *const probe = Make("a", [&](Probe &) {
      clock.AdvanceMs(7);
      return true;
   });
   SetVerbose();
   probe->Start(100);
   Settle(100);
   Advance(100);
   Settle(100);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Calling timer callback, name=%s, now=%u, interval=%u, intervalElapsed=%u", name,
                       start + 100, 100U, 100U))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Timer callback complete, name=%s, start=%u, end=%u, cbElasped=%d", name,
                       start + 100, start + 107, 7))
      << log.Dump();
}

// ---- Clocks ---------------------------------------------------------------------------------------------------------

TEST_F(Timer, FiresInTimeAcrossTheWrapOfTheTickCount) {
   clock.SetWallUs((int64_t{1} << 32) * 400 * 1000 - 500'000); // half a second before it
   EXPECT_EQ(Tick(), 0U - 500);
   Make("first")->Start(1000);
   Make("second")->Start(700);
   Settle(1000 - 300);
   Advance(700);
   Settle(300);
   Advance(300);
   Settle(400);
   EXPECT_EQ(Fires(), (Fired{"second@700", "first@1000"}));
   EXPECT_EQ(log.CountLevel(logger::ERROR), 0) << log.Dump();
}

TEST_F(Timer, IsNotStretchedByAWallClockThatIsSetBackWhileTheServiceSleeps) {
   Make("a")->Start(3'600'000);
   Make("b")->Start(7'200'000);
   Settle(3'600'000);
   Advance(2'400'000);
   SetWallBack(1'800'000); // by less than has passed: a difference of ticks would say 50 minutes too few
   Advance(1'200'000);
   Settle(3'600'000);
   SetWallBack(1'800'000'000); // by more than has ever passed
   Advance(3'600'000);
   Settle(3'600'000);
   EXPECT_EQ(Fires(), (Fired{"a@3600000", "a@7200000", "b@7200000"}));
   EXPECT_EQ(log.CountLevel(logger::ERROR), 0) << log.Dump();
}

TEST_F(Timer, StartedAfterTheWallClockWasSetBackIsNotTakenForAnOldOne) {
   Make("old")->Start(10'000);
   Probe *const young = Make("young");
   Settle(10'000);
   Advance(4'000);
   SetWallBack(3'600'000);
   young->Start(8'000);
   Settle(6'000);
   Advance(6'000);
   Settle(2'000);
   Advance(2'000);
   Settle(8'000);
   EXPECT_EQ(Fires(), (Fired{"old@10000", "young@12000"}));
}

// Required: ticks decide what is due, and a clock that is set forward has let them pass.
TEST_F(Timer, FiresEarlyAtTheNextLookAfterAWallClockThatIsSetForward) {
   Make("a")->Start(1000);
   Make("b")->Start(3'000'000);
   Settle(1000);
   SetWallBack(-3'600'000);
   Advance(1000);
   Settle(1000);
   EXPECT_EQ(Fires(), (Fired{"a@1000", "b@1000"}));
   EXPECT_EQ(log.CountLevel(logger::ERROR), 1) << log.Dump(); // b is less than 1.4 intervals late
}

} // namespace
} // namespace CORE
