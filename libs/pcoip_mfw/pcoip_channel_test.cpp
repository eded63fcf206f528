#include "libs/pcoip_mfw/pcoip_channel.h"

#include "libs/pcoip_mfw/ChannelFixtureTestKit.h"

#include <atomic>
#include <cstdint>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using kit::KeepingEndpoint;
using ChannelTest = kit::ChannelTest;
using States = std::vector<uint32_t>;

// ---- Opening --------------------------------------------------------------------------------------------------------

TEST_F(ChannelTest, NameIsCutAt31CharactersForTheHost) {
   KeepingEndpoint endpoint("a name of more than thirty-one characters", 0);
   OpenOnAgent(endpoint);
   const auto opened = host.AllOpened()[0];
   EXPECT_EQ(opened.name, std::string("a name of more than thirty-one ") + '\0');
   EXPECT_EQ(opened.mode, 0U);
   EXPECT_EQ(opened.priority, 1U);
}

TEST_F(ChannelTest, RefusedOpeningIsLoggedAndEndsTheThread) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   host.openResult = -5;
   KeepingEndpoint endpoint("TLV no");
   ASSERT_TRUE(endpoint.Start(false, 1));
   threads.AwaitStarted(1);
   threads.AwaitNone();
   EXPECT_TRUE(log.Saw(logger::ERROR, "pcoip_vchan_open %s, FAILED, res = %d", "TLV no", -5)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "openChannel FAILED for channel %s", "ZTH no")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "channelThread STOP for channel %s", "ZTH no")) << log.Dump();
   EXPECT_TRUE(endpoint.States().empty());
   EXPECT_EQ(endpoint.Channel()->GetRefCount(), 1);
}

TEST_F(ChannelTest, OpenedStoresTheCapabilityAndTellsTheOwner) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   KeepingEndpoint endpoint("TLV cap");
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.AwaitOpened(1);
   const uint32_t capability = 0x80000001;
   host.Tell(pcoip_channel::Opened, &capability);
   EXPECT_EQ(endpoint.GetCapability(), capability);
   EXPECT_EQ(endpoint.States(), States{1});
   EXPECT_TRUE(log.Saw(logger::DEBUG, "CB channel %s opened with capability %d", "ZTH cap", -2147483647)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoip_vchan_open %s Ok", "TLV cap")) << log.Dump();
}

TEST_F(ChannelTest, RepeatedOpenedStoresTheCapabilityAndDoesNothingElse) {
   KeepingEndpoint endpoint("again");
   OpenOnAgent(endpoint);
   host.maxDatagram = 7;
   const uint32_t capability = 12;
   host.Tell(pcoip_channel::Opened, &capability);
   EXPECT_EQ(endpoint.GetCapability(), 12U);
   host.Tell(pcoip_channel::Opened, nullptr);
   EXPECT_EQ(endpoint.GetCapability(), 12U) << "nothing said, nothing changed";
   EXPECT_EQ(endpoint.States(), States{1});
   EXPECT_EQ(endpoint.GetMaxDatagramSize(false), 1200U);
}

struct SizeFailure {
   const char *name;
   int32_t uchanResult;
   int32_t maxLossyResult;
   uint32_t maxLossy;
   int32_t maxResult;
   uint32_t max;
   const char *message;
};

class OpenedButNotUsable : public ChannelTest, public testing::WithParamInterface<SizeFailure> {};

TEST_P(OpenedButNotUsable, IsClosedWithoutAWordToTheOwner) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   host.uchanResult = GetParam().uchanResult;
   host.maxLossyResult = GetParam().maxLossyResult;
   host.maxLossyDatagram = GetParam().maxLossy;
   host.maxResult = GetParam().maxResult;
   host.maxDatagram = GetParam().max;
   KeepingEndpoint endpoint("unusable");
   ASSERT_TRUE(endpoint.Start(true, 1));
   host.AwaitOpened(1);
   host.Tell(pcoip_channel::Opened);
   threads.AwaitNone();
   EXPECT_TRUE(endpoint.States().empty());
   EXPECT_EQ(host.StillOpen(), 0U);
   EXPECT_NE(log.Dump().find(GetParam().message), std::string::npos) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Channel not started or opened. Exiting. Channel %s", "unusable")) << log.Dump();
}

INSTANTIATE_TEST_SUITE_P(
   All, OpenedButNotUsable,
   testing::Values(SizeFailure{"LossyHandle", -3, 0, 1000, 0, 1200, "pcoip_vchan_get_uchan_handle FAILED: -3"},
                   SizeFailure{"LossySize", 0, -4, 1000, 0, 1200, "pcoip_vchan_get_max_udgram_size FAILED: -4"},
                   SizeFailure{"LossySizeZero", 0, 0, 0, 0, 1200, "pcoip_vchan_get_max_udgram_size FAILED: 0"},
                   SizeFailure{"Size", 0, 0, 1000, -6, 1200, "pcoip_vchan_get_max_dgram_size FAILED: -6"},
                   SizeFailure{"SizeZero", 0, 0, 1000, 0, 0, "pcoip_vchan_get_max_dgram_size FAILED: 0"}),
   [](const auto &test) { return test.param.name; });

TEST_F(ChannelTest, FailuresOfTheSizesAreLoggedWithTheirResult) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   KeepingEndpoint endpoint("sizes");
   ASSERT_TRUE(endpoint.Start(true, 1));
   host.AwaitOpened(1);
   host.maxResult = -6;
   host.Tell(pcoip_channel::Opened);
   EXPECT_TRUE(log.Saw(logger::ERROR, "pcoip_vchan_get_max_dgram_size FAILED: %d", -6)) << log.Dump();
   threads.AwaitNone();
   host.maxLossyResult = -4;
   host.Session(1);
   host.AwaitOpened(2);
   host.Tell(pcoip_channel::Opened);
   EXPECT_TRUE(log.Saw(logger::ERROR, "pcoip_vchan_get_max_udgram_size FAILED: %d", -4)) << log.Dump();
   threads.AwaitNone();
   host.uchanResult = -3;
   host.Session(1);
   host.AwaitOpened(3);
   host.Tell(pcoip_channel::Opened);
   EXPECT_TRUE(log.Saw(logger::ERROR, "pcoip_vchan_get_uchan_handle FAILED: %d", -3)) << log.Dump();
}

// ---- Every event in every state -------------------------------------------------------------------------------------

struct Told {
   uint32_t event;
   States opening; // what the owner has been told after it came in OpenPending
   States open;    // in Open
   size_t stillOpen;
   const char *message;
};

class EventTable : public ChannelTest, public testing::WithParamInterface<Told> {};

TEST_P(EventTable, WhileOpening) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   KeepingEndpoint endpoint("table");
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.AwaitOpened(1);
   host.Tell(GetParam().event);
   EXPECT_EQ(endpoint.States(), GetParam().opening);
   EXPECT_EQ(host.StillOpen(), GetParam().stillOpen);
   EXPECT_NE(log.Dump().find(GetParam().message), std::string::npos) << log.Dump();
   EXPECT_EQ(endpoint.Events().size(),
             GetParam().event > 9 || (GetParam().event > 5 && GetParam().event < 9) ? 1U : 0U);
   if (GetParam().stillOpen == 0) {
      EXPECT_EQ(endpoint.Channel()->CurrentState(), pcoip_channel::OpenPending) << "required: it was not open";
      threads.AwaitNone();
   }
}

TEST_P(EventTable, WhileOpen) {
   KeepingEndpoint endpoint("table");
   OpenOnAgent(endpoint);
   host.Tell(GetParam().event);
   EXPECT_EQ(endpoint.States(), GetParam().open);
   EXPECT_EQ(host.StillOpen(), GetParam().stillOpen);
   EXPECT_NE(log.Dump().find(GetParam().message), std::string::npos) << log.Dump();
   if (GetParam().stillOpen == 0) {
      EXPECT_EQ(endpoint.Channel()->CurrentState(), pcoip_channel::Closed);
      EXPECT_EQ(host.AllClosed()[0].started, 1U);
      threads.AwaitNone();
      host.Tell(GetParam().event); // late: for a handle that is gone
      EXPECT_EQ(endpoint.States(), GetParam().open);
      EXPECT_TRUE(log.Saw(logger::TRACE, "pcoip CB bad channelHandle")) << log.Dump();
   }
}

TEST_P(EventTable, WhileStopped) {
   KeepingEndpoint endpoint("table");
   OpenOnAgent(endpoint);
   endpoint.Stop();
   threads.AwaitNone();
   log.Clear();
   host.Tell(GetParam().event);
   EXPECT_EQ(endpoint.States(), States{1});
   EXPECT_TRUE(endpoint.Events().empty());
   EXPECT_TRUE(log.Saw(logger::TRACE, "pcoip CB bad channelHandle")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "ChannelCallback for stopped channel")) << log.Dump();
}

INSTANTIATE_TEST_SUITE_P(All, EventTable,
                         testing::Values(Told{0, {1}, {1}, 1, "opened with capability 0"},
                                         Told{1, {}, {1, 0}, 0, "CB channel table open reject"},
                                         Told{2, {}, {1, 0}, 0, "CB channel table close pending"},
                                         Told{3, {}, {1, 0}, 0, "CB channel table closed"}, Told{4, {}, {1}, 1, ""},
                                         Told{5, {}, {1}, 1, "CB ERROR DETECTED"}, Told{6, {}, {1}, 1, ""},
                                         Told{9, {}, {1}, 1, ""}, Told{10, {}, {1}, 1, ""},
                                         Told{UINT32_MAX, {}, {1}, 1, ""}),
                         [](const auto &test) { return "Event" + std::to_string(test.param.event); });

TEST_F(ChannelTest, EventsAreLoggedUnderTheDisplayName) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   KeepingEndpoint endpoint("TLV events");
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.AwaitOpened(1);
   host.Tell(pcoip_channel::HostError);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "CB ERROR DETECTED")) << log.Dump();
   host.Tell(pcoip_channel::OpenRejected);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "CB channel %s open reject", "ZTH events")) << log.Dump();
   threads.AwaitNone();
   host.Session(1);
   host.AwaitOpened(2);
   host.Tell(pcoip_channel::ClosePending);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "CB channel %s close pending", "ZTH events")) << log.Dump();
   threads.AwaitNone();
   host.Session(1);
   host.AwaitOpened(3);
   host.Tell(pcoip_channel::ChannelClosed);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "CB channel %s closed", "ZTH events")) << log.Dump();
}

TEST_F(ChannelTest, EventForAStoppedChannelIsRefused) {
   KeepingEndpoint endpoint("stopping");
   OpenOnAgent(endpoint);
   const auto opened = host.AllOpened()[0];
   // The host's last event comes while it is told to close: the handle is still the channel's.
   host.onClose = [&](uint32_t handle) {
      host.TellFor(opened, handle, pcoip_channel::ChannelClosed, nullptr);
   };
   endpoint.Stop();
   EXPECT_EQ(log.Count(logger::TRACE, "ChannelCallback for stopped channel"), 1) << log.Dump();
   EXPECT_EQ(log.Count(logger::TRACE, "pcoip CB bad channelHandle"), 0) << log.Dump();
   host.TellFor(opened, kPcoipNoHandle, pcoip_channel::ChannelClosed, nullptr);
   EXPECT_EQ(log.Count(logger::TRACE, "ChannelCallback for stopped channel"), 2) << log.Dump();
   EXPECT_EQ(log.Count(logger::TRACE, "pcoip CB bad channelHandle"), 0) << log.Dump();
   host.Tell(pcoip_channel::ChannelClosed); // with the handle that it had
   EXPECT_EQ(log.Count(logger::TRACE, "ChannelCallback for stopped channel"), 3) << log.Dump();
   EXPECT_EQ(log.Count(logger::TRACE, "pcoip CB bad channelHandle"), 1) << log.Dump();
   EXPECT_EQ(endpoint.States(), States{1});
}

TEST_F(ChannelTest, EventWithoutUserDataOrHandleIsRefused) {
   KeepingEndpoint endpoint("wrong");
   OpenOnAgent(endpoint);
   pcoip_channel::ChannelCallback(nullptr, 100, pcoip_channel::ChannelClosed, nullptr);
   EXPECT_TRUE(log.Saw(logger::TRACE, "pcoip CB bad userData")) << log.Dump();
   int other = 0;
   pcoip_channel::ChannelCallback(&other, 100, pcoip_channel::ChannelClosed, nullptr);
   EXPECT_EQ(log.Count(logger::TRACE, "pcoip CB bad userData"), 2) << "what is no channel is not touched";
   host.TellFor(host.AllOpened()[0], 4242, pcoip_channel::ChannelClosed, nullptr);
   EXPECT_TRUE(log.Saw(logger::TRACE, "pcoip CB bad channelHandle")) << log.Dump();
   EXPECT_EQ(endpoint.States(), States{1});
}

TEST_F(ChannelTest, EventForNoHandleIsRefusedWhileThereIsNone) {
   KeepingEndpoint endpoint("none");
   OpenOnAgent(endpoint);
   host.Tell(pcoip_channel::ChannelClosed);
   threads.AwaitNone();
   host.TellFor(host.AllOpened()[0], kPcoipNoHandle, pcoip_channel::Opened, nullptr);
   EXPECT_EQ(endpoint.States(), (States{1, 0}));
}

TEST_F(ChannelTest, HostThatCallsBackFromItsCloseIsAskedOnceAndTheOwnerToldOnce) {
   KeepingEndpoint endpoint("nested");
   OpenOnAgent(endpoint);
   const auto opened = host.AllOpened()[0];
   host.onClose = [&](uint32_t handle) {
      host.TellFor(opened, handle, pcoip_channel::ChannelClosed, nullptr);
   };
   host.Tell(pcoip_channel::ChannelClosed);
   threads.AwaitNone();
   EXPECT_EQ(host.AllClosed().size(), 1U);
   EXPECT_EQ(endpoint.States(), (States{1, 0}));
}

// ---- Callbacks that throw, stop, start and send ---------------------------------------------------------------------

TEST_F(ChannelTest, ChannelStateThatThrowsIsLoggedAndChangesNothing) {
   KeepingEndpoint endpoint("throws");
   int calls = 0;
   endpoint.onState = [&](uint32_t) {
      ++calls;
      throw std::runtime_error("on purpose");
   };
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.OpenFully(1);
   EXPECT_EQ(log.Count(logger::ERROR, "EXCEPTION in user ChannelState callback"), 1) << log.Dump();
   EXPECT_EQ(endpoint.Channel()->CurrentState(), pcoip_channel::Open);
   host.Tell(pcoip_channel::ChannelClosed);
   threads.AwaitNone();
   EXPECT_EQ(log.Count(logger::ERROR, "EXCEPTION in user ChannelState callback"), 2) << log.Dump();
   EXPECT_EQ(calls, 2);
   EXPECT_EQ(endpoint.Channel()->CurrentState(), pcoip_channel::Closed);
}

TEST_F(ChannelTest, ChannelEventThatThrowsDoesNotReachTheHost) {
   KeepingEndpoint endpoint("throws");
   OpenOnAgent(endpoint);
   endpoint.onEvent = [](uint32_t) {
      throw 7;
   };
   host.Tell(1234);
   EXPECT_TRUE(log.Saw(logger::ERROR, "EXCEPTION in user ChannelEvent callback")) << log.Dump();
   endpoint.onEvent = nullptr;
   host.Tell(1235);
   EXPECT_EQ(endpoint.Events(), std::vector<uint32_t>{1235}) << "the lock is free again";
}

TEST_F(ChannelTest, ChannelStateMaySendStopAndStart) {
   KeepingEndpoint endpoint("calls");
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   endpoint.onState = [&](uint32_t state) {
      if (state == 1) {
         EXPECT_TRUE(endpoint.SendData(0, "hello", 5));
         endpoint.Stop();
         EXPECT_TRUE(endpoint.Start(false, 9));
      }
   };
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.AwaitOpened(1);
   host.Tell(pcoip_channel::Opened);
   EXPECT_EQ(host.AllSent().size(), 1U);
   host.AwaitOpened(2);
   EXPECT_EQ(host.StillOpen(), 1U);
   threads.AwaitNone();
}

TEST_F(ChannelTest, ChannelEventMayStop) {
   KeepingEndpoint endpoint("calls");
   OpenOnAgent(endpoint);
   endpoint.onEvent = [&](uint32_t) {
      endpoint.Stop();
   };
   host.Tell(1234);
   threads.AwaitNone();
   EXPECT_FALSE(endpoint.IsStarted());
   EXPECT_EQ(host.StillOpen(), 0U);
}

/// Takes the channel's lock on another thread, and returns when that had it: never while this thread holds it.
void TakeLockElsewhere(KeepingEndpoint &endpoint) {
   std::thread([&endpoint] { endpoint.SetGotDataOptions(0, 0); }).join();
}

TEST_F(ChannelTest, ChannelStateAndGotDataAreCalledWithoutTheLock) {
   KeepingEndpoint endpoint("unlocked");
   endpoint.onState = [&](uint32_t) {
      TakeLockElsewhere(endpoint);
   };
   endpoint.onData = [&](uint8_t *, uint32_t) {
      TakeLockElsewhere(endpoint);
   };
   OpenOnAgent(endpoint);
   host.Arrive(host.AllOpened()[0].handle, {"datagram"});
   endpoint.AwaitData(1);
   host.Tell(pcoip_channel::ChannelClosed);
   endpoint.AwaitStates({1, 0});
   threads.AwaitNone();
   EXPECT_EQ(log.CountLevel(logger::ERROR), 3) << "SetGotDataOptions after the start: " << log.Dump();
}

TEST_F(ChannelTest, ChannelEventIsCalledWithTheLock) {
   KeepingEndpoint endpoint("locked");
   OpenOnAgent(endpoint);
   std::atomic<bool> had{false};
   std::thread other;
   endpoint.onEvent = [&](uint32_t) {
      other = std::thread([&] {
         endpoint.SetGotDataOptions(0, 0);
         had = true;
      });
      for (int i = 0; i < 1000; ++i) {
         std::this_thread::yield();
      }
      EXPECT_FALSE(had);
   };
   host.Tell(1234);
   other.join();
   EXPECT_TRUE(had);
}

// ---- Sending --------------------------------------------------------------------------------------------------------

TEST_F(ChannelTest, LongSendIsCutIntoDatagrams) {
   host.maxDatagram = 1000;
   KeepingEndpoint endpoint("chunks");
   OpenOnAgent(endpoint);
   std::string data(2500, '\0');
   for (size_t i = 0; i < data.size(); ++i) {
      data[i] = static_cast<char>(i * 7);
   }
   EXPECT_TRUE(endpoint.SendData(0, data.data(), 2500));
   const auto sent = host.AllSent();
   ASSERT_EQ(sent.size(), 3U);
   EXPECT_EQ(sent[0].data, data.substr(0, 1000));
   EXPECT_EQ(sent[1].data, data.substr(1000, 1000));
   EXPECT_EQ(sent[2].data, data.substr(2000));
   EXPECT_EQ(sent[2].data.size(), 500U);
   EXPECT_EQ(sent[0].handle, host.AllOpened()[0].handle);
   EXPECT_EQ(sent[0].timeout, 250U);
   EXPECT_FALSE(sent[0].lossy);
}

TEST_F(ChannelTest, LossySendUsesTheSecondHandleAndItsSize) {
   KeepingEndpoint endpoint("lossy");
   OpenOnAgent(endpoint, true);
   const std::string data(1500, 'x');
   EXPECT_TRUE(endpoint.SendDataLossy(0, data.data(), 1500));
   EXPECT_TRUE(endpoint.SendData(0, data.data(), 1500));
   const auto sent = host.AllSent();
   ASSERT_EQ(sent.size(), 4U);
   EXPECT_TRUE(sent[0].lossy && sent[1].lossy && !sent[2].lossy && !sent[3].lossy);
   EXPECT_EQ(sent[0].data.size(), 1000U);
   EXPECT_EQ(sent[0].handle, kit::ObedientHost::LossyHandleOf(sent[2].handle));
   EXPECT_EQ(sent[2].data.size(), 1200U);
}

TEST_F(ChannelTest, LossySendOnAReliableChannelGoesTheReliableWay) {
   KeepingEndpoint endpoint("reliable");
   OpenOnAgent(endpoint);
   EXPECT_TRUE(endpoint.SendDataLossy(0, "abc", 3));
   ASSERT_EQ(host.AllSent().size(), 1U);
   EXPECT_FALSE(host.AllSent()[0].lossy);
}

TEST_F(ChannelTest, LossyFlagThatComesWhileAReliableChannelIsOpenIsForTheNextOpening) {
   ASSERT_TRUE(host.Load(false));
   KeepingEndpoint endpoint("flag");
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.RemoteOpen("flag", 0);
   host.OpenFully(1);
   host.RemoteOpen("flag", 1);
   EXPECT_TRUE(endpoint.SendDataLossy(0, "abc", 3));
   ASSERT_EQ(host.AllSent().size(), 1U);
   EXPECT_FALSE(host.AllSent()[0].lossy);
   EXPECT_EQ(host.StillOpen(), 1U);
}

TEST_F(ChannelTest, DroppedLossySendIsFalseAndSilent) {
   KeepingEndpoint endpoint("drop");
   OpenOnAgent(endpoint, true);
   log.Clear();
   host.onSend = [](const auto &) {
      return kPcoipDropped;
   };
   EXPECT_FALSE(endpoint.SendDataLossy(0, "abc", 3));
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
   EXPECT_EQ(endpoint.States(), States{1});
   EXPECT_EQ(host.StillOpen(), 1U);
}

TEST_F(ChannelTest, AnyOtherFailureToSendIsLoggedAndCloses) {
   for (const bool lossy : {false, true}) {
      KeepingEndpoint endpoint("fail");
      OpenOnAgent(endpoint, lossy);
      host.onSend = [&](const auto &sent) {
         return sent.data == "third" ? -9 : 0;
      };
      EXPECT_FALSE(lossy ? endpoint.SendDataLossy(0, "third", 5) : endpoint.SendData(0, "third", 5));
      EXPECT_TRUE(log.Saw(logger::ERROR, "pcoip send datagram ERROR=%d", -9)) << log.Dump();
      EXPECT_EQ(endpoint.States(), (States{1, 0}));
      EXPECT_EQ(host.StillOpen(), 0U);
      threads.AwaitNone();
      host.onSend = nullptr;
   }
}

TEST_F(ChannelTest, DropOnTheReliableWayIsAFailure) {
   KeepingEndpoint endpoint("fail");
   OpenOnAgent(endpoint);
   host.onSend = [](const auto &) {
      return kPcoipDropped;
   };
   EXPECT_FALSE(endpoint.SendDataLossy(0, "abc", 3));
   EXPECT_TRUE(log.Saw(logger::ERROR, "pcoip send datagram ERROR=%d", kPcoipDropped)) << log.Dump();
   EXPECT_EQ(host.StillOpen(), 0U);
}

TEST_F(ChannelTest, FailureEndsTheSendWhereItIs) {
   host.maxDatagram = 10;
   KeepingEndpoint endpoint("part");
   OpenOnAgent(endpoint);
   int calls = 0;
   host.onSend = [&](const auto &) {
      return ++calls == 2 ? -1 : 0;
   };
   EXPECT_FALSE(endpoint.SendData(0, std::string(30, 'x').data(), 30));
   EXPECT_EQ(host.AllSent().size(), 2U);
}

TEST_F(ChannelTest, LateFailureOfASendLeavesTheNextOpeningAlone) {
   KeepingEndpoint endpoint("late");
   OpenOnAgent(endpoint);
   host.onSend = [&](const auto &) {
      endpoint.Stop();
      EXPECT_TRUE(endpoint.Start(false, 1));
      host.AwaitOpened(2);
      host.Tell(pcoip_channel::Opened);
      return -9;
   };
   EXPECT_FALSE(endpoint.SendData(0, "abc", 3));
   EXPECT_EQ(host.StillOpen(), 1U) << "the second opening";
   EXPECT_EQ(endpoint.States(), (States{1, 1}));
}

} // namespace
