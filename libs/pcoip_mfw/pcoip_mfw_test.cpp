#include "libs/pcoip_mfw/pcoip_mfw.h"

#include "lib/mfw/messageframework/propertybag.h"
#include "libs/pcoip_mfw/ChannelFixtureTestKit.h"
#include "libs/pcoip_mfw/ChannelRules.h"

#include <atomic>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using kit::KeepingEndpoint;
using EndpointTest = kit::ChannelTest;
using Strings = std::vector<std::string>;

TEST_F(EndpointTest, DummyHasNoChannelAndDoesNothing) {
   {
      KeepingEndpoint dummy("__dummy__");
      EXPECT_EQ(dummy.Channel(), nullptr);
      EXPECT_FALSE(dummy.IsStarted());
      EXPECT_EQ(dummy.GetCapability(), 0U);
      EXPECT_EQ(dummy.GetMaxDatagramSize(false), 0U);
      EXPECT_FALSE(dummy.Start(true, 1));
      EXPECT_FALSE(dummy.SendData(0, "x", 1));
      EXPECT_FALSE(dummy.SendDataLossy(0, "x", 1));
      dummy.SetGotDataOptions(1, 2);
      dummy.Stop();
      const KeepingEndpoint other("__dummy__", 7, 2);
      EXPECT_EQ(other.Channel(), nullptr);
      CORE::PropertyBag info;
      pcoip_mfw::GetChannelsInfo(info);
      EXPECT_EQ(info.GetCount(), 0U);
   }
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
   EXPECT_EQ(mfwDummy().Channel(), nullptr);
}

TEST_F(EndpointTest, IsAddedAndRemovedUnderItsRawName) {
   void *object = nullptr;
   {
      const KeepingEndpoint endpoint("TLV one");
      object = const_cast<KeepingEndpoint *>(&endpoint);
      EXPECT_TRUE(
         log.Saw(logger::DEBUG, "add of pcoip_channel %s (0x%p)", "TLV one", static_cast<void *>(endpoint.Channel())))
         << log.Dump();
      EXPECT_TRUE(log.Saw(logger::DEBUG, "add of pcoip_mfw %s (0x%p)", "TLV one", object)) << log.Dump();
   }
   EXPECT_TRUE(log.Saw(logger::DEBUG, "remove of pcoip_mfw %s", "TLV one")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "remove of pcoip_channel %s", "ZTH one")) << log.Dump();
}

TEST_F(EndpointTest, OpenParamFormNamesItsChannelInTheLog) {
   const KeepingEndpoint endpoint("two", 9, 1);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "add of pcoip_mfw %s (0x%p), pdata (0x%p)", "two",
                       static_cast<const void *>(&endpoint), static_cast<const void *>(endpoint.Channel())))
      << log.Dump();
}

TEST_F(EndpointTest, NullNameIsTheEmptyName) {
   const KeepingEndpoint endpoint(nullptr);
   EXPECT_STREQ(endpoint.Channel()->Name(), "");
}

TEST_F(EndpointTest, StartOnTheAgentOpensWithEveryWordInItsPlace) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   KeepingEndpoint endpoint("TOLVAR camera", 4711, 2);
   ASSERT_TRUE(endpoint.Start(true, 250));
   const auto opened = host.AwaitOpened(1);
   EXPECT_EQ(opened.name, "TOLVAR camera" + std::string(19, '\0'));
   EXPECT_EQ(opened.mode, 2U);
   EXPECT_EQ(opened.priority, 1028U);
   EXPECT_EQ(opened.openParam, 4711U);
   EXPECT_EQ(opened.userData, endpoint.Channel());
   EXPECT_TRUE(log.Saw(logger::DEBUG, "[%s - Start] start of virtual channel - %s", "TOLVAR camera", "Lossy"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "[%s - Start] setting lossy flag", "TOLVAR camera"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "[%s - Start] Passing channel details to pcoipRunThread with name: %s",
                       "TOLVAR camera", "TOLVAR camera"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "[pcoipRunThread] for channel %s. (%s)", "ZENTHAR camera", "Lossy"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "[pcoipRunThread] Adding channel %s to pcoipChannelThread queue. (%s)",
                       "ZENTHAR camera", "Lossy"))
      << log.Dump();
}

TEST_F(EndpointTest, StartWithoutASessionOnlyMarksIt) {
   ASSERT_TRUE(host.Load(true));
   KeepingEndpoint endpoint("waiting");
   ASSERT_TRUE(endpoint.Start(false, 0));
   EXPECT_TRUE(endpoint.IsStarted());
   EXPECT_EQ(endpoint.Channel()->CurrentState(), pcoip_channel::OpenPending);
   EXPECT_EQ(threads.Started(), 0);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "[%s - Start] start of virtual channel - %s", "waiting", "Reliable"));
}

TEST_F(EndpointTest, StartTwiceIsTrueAndSaysSo) {
   ASSERT_TRUE(host.Load(true));
   KeepingEndpoint endpoint("twice");
   ASSERT_TRUE(endpoint.Start(true, 1));
   EXPECT_TRUE(endpoint.Start(false, 1));
   EXPECT_TRUE(endpoint.Channel()->IsLossy()) << "the second call changes nothing";
   EXPECT_EQ(log.Count(logger::DEBUG, "[%s - Start] already started. Exiting", "twice"), 1) << log.Dump();
}

// Required: on the client side the other side says when, and whether it is lossy.
TEST_F(EndpointTest, StartOnTheClientNeverStartsAThreadByItself) {
   ASSERT_TRUE(host.Load(false));
   host.Session(1);
   KeepingEndpoint endpoint("client");
   ASSERT_TRUE(endpoint.Start(true, 1));
   EXPECT_EQ(threads.Started(), 0);
   EXPECT_FALSE(endpoint.Channel()->IsLossy());
   host.RemoteOpen("client", 1);
   EXPECT_TRUE(endpoint.Channel()->IsLossy());
   host.OpenFully(1, true);
}

TEST_F(EndpointTest, StopLogsClosesAndTellsTheHostThatNobodyWantsIt) {
   KeepingEndpoint endpoint("Tolvar stop");
   OpenOnAgent(endpoint);
   endpoint.Stop();
   EXPECT_FALSE(endpoint.IsStarted());
   EXPECT_TRUE(log.Saw(logger::DEBUG, "stop of virtual channel %s", "Zenthar stop")) << log.Dump();
   ASSERT_EQ(host.AllClosed().size(), 1U);
   EXPECT_EQ(host.AllClosed()[0].started, 0U);
   EXPECT_EQ(host.AllClosed()[0].last, 0U);
   endpoint.Stop();
   EXPECT_EQ(log.Count(logger::DEBUG, "stop of virtual channel %s", "Zenthar stop"), 1);
   threads.AwaitNone();
}

// Required: who stops a channel knows it; its state stays until the next Start.
TEST_F(EndpointTest, StopIsNotToldAndLeavesTheState) {
   KeepingEndpoint endpoint("stopped");
   OpenOnAgent(endpoint);
   endpoint.Stop();
   threads.AwaitNone();
   EXPECT_EQ(endpoint.States(), std::vector<uint32_t>{1});
   EXPECT_EQ(endpoint.Channel()->CurrentState(), pcoip_channel::Open);
}

TEST_F(EndpointTest, SendIsRefusedUnlessOpen) {
   KeepingEndpoint endpoint("send");
   EXPECT_FALSE(endpoint.SendData(0, "abc", 3));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "states: pending=%u, open=%u, closed=%u", 0U, 1U, 2U)) << log.Dump();
   EXPECT_TRUE(
      log.Saw(logger::DEBUG, "SendData called in bad state, state=%u (0x%p)", 2U, static_cast<void *>(&endpoint)))
      << log.Dump();
   ASSERT_TRUE(endpoint.Start(false, 1));
   EXPECT_FALSE(endpoint.SendDataLossy(0, "abc", 3));
   EXPECT_TRUE(
      log.Saw(logger::DEBUG, "SendData called in bad state, state=%u (0x%p)", 0U, static_cast<void *>(&endpoint)));
   EXPECT_TRUE(host.AllSent().empty());
}

TEST_F(EndpointTest, SendWithAnotherSessionIsRefused) {
   KeepingEndpoint endpoint("session");
   OpenOnAgent(endpoint);
   EXPECT_FALSE(endpoint.SendData(7, "abc", 3));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "SendData called for invalid session, got=%u, expected=%u", 7U, 0U))
      << log.Dump();
   EXPECT_TRUE(host.AllSent().empty());
}

TEST_F(EndpointTest, SendWithoutDataIsRefused) {
   KeepingEndpoint endpoint("null");
   OpenOnAgent(endpoint);
   EXPECT_FALSE(endpoint.SendData(0, nullptr, 3));
   EXPECT_TRUE(
      log.Saw(logger::ERROR, "SendData called without data, size=%u (0x%p)", 3U, static_cast<void *>(&endpoint)))
      << log.Dump();
   EXPECT_TRUE(endpoint.SendData(0, nullptr, 0)) << "an empty send";
   EXPECT_TRUE(host.AllSent().empty());
}

TEST_F(EndpointTest, OptionsAreStoredBeforeTheStartAndRefusedAfterIt) {
   KeepingEndpoint endpoint("options");
   endpoint.header = 16;
   endpoint.SetGotDataOptions(16, 8);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoip_mfw::SetGotDataOptions called for %s, recvHeader = %u, recvTrailer = %u",
                       "options", 16U, 8U))
      << log.Dump();
   OpenOnAgent(endpoint);
   endpoint.SetGotDataOptions(1, 1);
   EXPECT_TRUE(
      log.Saw(logger::ERROR, "pcoip_mfw::SetGotDataOptions called after channel start, channel = %s", "options"))
      << log.Dump();
   host.Arrive(host.AllOpened()[0].handle, {"sixteen bytes behind the pointer"});
   endpoint.AwaitData(1);
   EXPECT_EQ(endpoint.Data(), Strings{"sixteen bytes behind the pointer"});
}

TEST_F(EndpointTest, MaximalSizesAreKnownOnceOpen) {
   KeepingEndpoint endpoint("sizes");
   EXPECT_EQ(endpoint.GetMaxDatagramSize(false), 0U);
   OpenOnAgent(endpoint, true);
   EXPECT_EQ(endpoint.GetMaxDatagramSize(false), 1200U);
   EXPECT_EQ(endpoint.GetMaxDatagramSize(true), 1000U);
   KeepingEndpoint reliable("reliable");
   OpenOnAgent(reliable);
   EXPECT_EQ(reliable.GetMaxDatagramSize(true), 1200U);
}

TEST_F(EndpointTest, ChannelsInfoDescribesEachEndpointInOrder) {
   const KeepingEndpoint low("TLV low", 0);
   KeepingEndpoint high("high", 2);
   const KeepingEndpoint odd("odd", 3);
   OpenOnAgent(high, true);
   CORE::PropertyBag info;
   pcoip_mfw::GetChannelsInfo(info);
   ASSERT_EQ(info.GetCount(), 3U);
   EXPECT_STREQ(info.GetNameTextAt(0), "TLV low");
   EXPECT_STREQ(info.GetNameTextAt(1), "high");
   EXPECT_STREQ(info.GetNameTextAt(2), "odd");
   const auto row = [&](size_t index) {
      const CORE::PropertyBag bag = info.GetBagAt(index);
      std::string text;
      for (size_t at = 0; at < bag.GetCount(); ++at) {
         text += std::string(bag.GetNameTextAt(at)) + "=" + bag.GetStringTextAt(at) + " ";
      }
      return text;
   };
   EXPECT_EQ(row(0), "name=TLV low type=InProc started=false state=Closed prio=low lossy=false ");
   EXPECT_EQ(row(1), "name=high type=InProc started=true state=Open prio=high lossy=true ");
   EXPECT_EQ(row(2), "name=odd type=InProc started=false state=Closed prio=??? lossy=false ");
}

// ---- The table of the header: every call in every state -------------------------------------------------------------

enum class Condition { New, Started, Open, HostClosed, Stopped };

std::string NameOf(Condition condition) {
   static const Strings names{"New", "Started", "Open", "HostClosed", "Stopped"};
   return names[static_cast<size_t>(condition)];
}

class StateTable : public EndpointTest, public testing::WithParamInterface<Condition> {
protected:
   void Bring(KeepingEndpoint &endpoint) {
      ASSERT_TRUE(host.Load(true));
      if (GetParam() == Condition::New) {
         return;
      }
      if (GetParam() == Condition::Started) {
         ASSERT_TRUE(endpoint.Start(false, 1));
         return;
      }
      host.Session(1);
      OpenOnAgent(endpoint);
      if (GetParam() == Condition::HostClosed) {
         host.Tell(pcoip_channel::ChannelClosed);
         endpoint.AwaitStates({1, 0});
      } else if (GetParam() == Condition::Stopped) {
         endpoint.Stop();
      }
      if (GetParam() != Condition::Open) {
         threads.AwaitNone();
      }
   }
   [[nodiscard]] bool HasStarted() const { return GetParam() != Condition::New && GetParam() != Condition::Stopped; }
};

TEST_P(StateTable, StartIsTrueInEveryState) {
   KeepingEndpoint endpoint("table");
   Bring(endpoint);
   EXPECT_TRUE(endpoint.Start(false, 1));
   EXPECT_TRUE(endpoint.IsStarted());
   EXPECT_EQ(log.Count(logger::DEBUG, "[%s - Start] already started. Exiting", "table"), HasStarted() ? 1 : 0);
   EXPECT_EQ(endpoint.Channel()->CurrentState(), GetParam() == Condition::Open         ? pcoip_channel::Open
                                                 : GetParam() == Condition::HostClosed ? pcoip_channel::Closed
                                                                                       : pcoip_channel::OpenPending);
}

TEST_P(StateTable, StopStopsWhatIsStarted) {
   KeepingEndpoint endpoint("table");
   Bring(endpoint);
   log.Clear();
   endpoint.Stop();
   EXPECT_FALSE(endpoint.IsStarted());
   EXPECT_EQ(log.Count(logger::DEBUG, "stop of virtual channel %s", "table"), HasStarted() ? 1 : 0);
   EXPECT_EQ(host.StillOpen(), 0U);
}

TEST_P(StateTable, OptionsAreStoredOnlyWhileNotStarted) {
   KeepingEndpoint endpoint("table");
   Bring(endpoint);
   endpoint.SetGotDataOptions(3, 4);
   EXPECT_EQ(log.CountLevel(logger::ERROR), HasStarted() ? 1 : 0) << log.Dump();
}

TEST_P(StateTable, SendDataSendsOnlyWhileOpen) {
   KeepingEndpoint endpoint("table");
   Bring(endpoint);
   host.onSend = [&](const auto &sent) {
      return sent.handle == kPcoipNoHandle ? kit::ObedientHost::kClosedResult : 0;
   };
   EXPECT_EQ(endpoint.SendData(0, "abc", 3), GetParam() == Condition::Open);
   EXPECT_EQ(endpoint.SendDataLossy(0, "abc", 3), GetParam() == Condition::Open);
}

TEST_P(StateTable, DestructorClosesWhateverIsOpen) {
   auto endpoint = std::make_unique<KeepingEndpoint>("table");
   Bring(*endpoint);
   const auto states = endpoint->States();
   endpoint.reset();
   threads.AwaitNone();
   EXPECT_EQ(host.StillOpen(), 0U);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "remove of pcoip_channel %s", "table")) << log.Dump();
}

INSTANTIATE_TEST_SUITE_P(All, StateTable,
                         testing::Values(Condition::New, Condition::Started, Condition::Open, Condition::HostClosed,
                                         Condition::Stopped),
                         [](const auto &test) { return NameOf(test.param); });

// ---- Going away -----------------------------------------------------------------------------------------------------

TEST_F(EndpointTest, DestructorOfAnOpenChannelTellsTheHostAndNobodyElse) {
   auto endpoint = std::make_unique<KeepingEndpoint>("going");
   std::atomic<int> told{0};
   OpenOnAgent(*endpoint);
   endpoint->onState = [&](uint32_t) {
      ++told;
   };
   endpoint.reset();
   threads.AwaitNone();
   EXPECT_EQ(told, 0);
   ASSERT_EQ(host.AllClosed().size(), 1U);
   EXPECT_EQ(host.AllClosed()[0].started, 1U) << "it was still wanted";
}

TEST_F(EndpointTest, DestructorWaitsForACallbackThatIsRunning) {
   auto endpoint = std::make_unique<KeepingEndpoint>("busy");
   OpenOnAgent(*endpoint);
   std::atomic<bool> inside{false};
   std::atomic<bool> letOut{false};
   std::atomic<bool> gone{false};
   std::atomic<bool> goneInside{false};
   endpoint->onData = [&](uint8_t *, uint32_t) {
      inside = true;
      while (!letOut) {
         std::this_thread::yield();
      }
      goneInside = gone.load();
   };
   host.Arrive(host.AllOpened()[0].handle, {"one", "two"});
   while (!inside) {
      std::this_thread::yield();
   }
   std::thread destroyer([&] {
      endpoint.reset();
      gone = true;
   });
   while (host.StillOpen() != 0) {
      std::this_thread::yield(); // the destructor has closed the channel, and waits now
   }
   for (int i = 0; i < 1000; ++i) {
      std::this_thread::yield();
   }
   letOut = true;
   destroyer.join();
   EXPECT_FALSE(goneInside);
}

TEST_F(EndpointTest, CallbackThatTheDestructorWaitsForCannotStartTheChannelAgain) {
   auto endpoint = std::make_unique<KeepingEndpoint>("TLV busy");
   OpenOnAgent(*endpoint);
   std::atomic<bool> inside{false};
   endpoint->onData = [&, going = endpoint.get()](uint8_t *, uint32_t) {
      inside = true;
      while (!log.Saw(logger::DEBUG, "stop of virtual channel %s", "ZTH busy")) {
         std::this_thread::yield();
      }
      EXPECT_FALSE(going->Start(false, 1));
   };
   host.Arrive(host.AllOpened()[0].handle, {"one"});
   while (!inside) {
      std::this_thread::yield();
   }
   endpoint.reset();
   threads.AwaitNone();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "[%s - Start] endpoint is going. Exiting", "TLV busy")) << log.Dump();
   EXPECT_EQ(host.StillOpen(), 0U);
}

/// Destroys itself in its callback.
class ShortLived final : public pcoip_mfw {
public:
   explicit ShortLived(bool inState)
       : pcoip_mfw("short", 1)
       , mInState(inState) {}
   ~ShortLived() override { EndCallbacks(); }
   void ChannelState(uint32_t /*session*/, uint32_t state) override {
      if (mInState && state == 0) {
         delete this;
      }
   }
   void GotData(uint32_t /*session*/, uint8_t * /*data*/, uint32_t /*size*/) override { delete this; }

private:
   const bool mInState;
};

TEST_F(EndpointTest, MayBeDestroyedWithinItsOwnCallbackForData) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   auto *const endpoint = new ShortLived(false);
   ASSERT_TRUE(endpoint->Start(false, 1));
   host.OpenFully(1);
   host.Arrive(host.AllOpened()[0].handle, {"end", "never seen"});
   threads.AwaitNone();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "remove of pcoip_channel %s", "short")) << log.Dump();
   EXPECT_EQ(host.StillOpen(), 0U);
}

TEST_F(EndpointTest, MayBeDestroyedWithinItsOwnCallbackForTheClose) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   auto *const endpoint = new ShortLived(true);
   ASSERT_TRUE(endpoint->Start(false, 1));
   host.OpenFully(1);
   host.Tell(pcoip_channel::ChannelClosed);
   threads.AwaitNone();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "remove of pcoip_channel %s", "short")) << log.Dump();
}

TEST_F(EndpointTest, EventsForAChannelThatIsGoneFindNothing) {
   kit::ObedientHost::Opened opened;
   {
      KeepingEndpoint endpoint("late");
      OpenOnAgent(endpoint);
      opened = host.AllOpened()[0];
   }
   threads.AwaitNone();
   host.TellFor(opened, opened.handle, pcoip_channel::ChannelClosed, nullptr);
   EXPECT_TRUE(log.Saw(logger::TRACE, "pcoip CB bad userData")) << log.Dump();
}

} // namespace
