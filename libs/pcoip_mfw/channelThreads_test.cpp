// The threads of a channel: runs, batches of datagrams, and what ends them.

#include "libs/pcoip_mfw/ChannelFixtureTestKit.h"
#include "libs/pcoip_mfw/pcoip_channel.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using kit::KeepingEndpoint;
using ReadingTest = kit::ChannelTest;
using RunTest = kit::ChannelTest;
using Strings = std::vector<std::string>;
using States = std::vector<uint32_t>;

Strings Numbered(int count, size_t size = 1200) {
   Strings datagrams;
   for (int i = 0; i < count; ++i) {
      std::string datagram(size, static_cast<char>(i));
      datagram.replace(0, std::min<size_t>(size, 5), std::to_string(10000 + i).substr(0, size));
      datagrams.push_back(datagram);
   }
   return datagrams;
}

// ---- One run --------------------------------------------------------------------------------------------------------

TEST_F(RunTest, SaysEachStepUnderTheDisplayName) {
   KeepingEndpoint endpoint("TLV run");
   OpenOnAgent(endpoint);
   endpoint.Stop();
   threads.AwaitNone();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "channelThread START for channel %s", "ZTH run")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Waiting for event notif. Channel %s", "ZTH run")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Event notif received. Channel %s", "ZTH run")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Channel opened. Channel %s", "ZTH run")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "max datagram size %u, inbuf capacity %u", 1200U, 27U)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "channelThread remote connected channel: %s, lossy=%s, sendTimeout=%u", "TLV run",
                       "false", 250U))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoip_vchan_recv FAILED result %d", kit::ObedientHost::kClosedResult));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "channelThread STOP for channel %s", "ZTH run")) << log.Dump();
   EXPECT_EQ(threads.Started(), 1);
   EXPECT_EQ(endpoint.Channel()->GetRefCount(), 1);
}

TEST_F(RunTest, WholeLifeSaysItsLinesInThisOrder) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   log.Clear();
   threads.HoldFrom(0);
   {
      KeepingEndpoint endpoint("TLV", 2);
      ASSERT_TRUE(endpoint.Start(true, 250));
      threads.LetGo();
      while (!log.Saw(logger::DEBUG, "Waiting for event notif. Channel %s", "ZTH")) {
         std::this_thread::yield();
      }
      threads.HoldFrom(1);
      const uint32_t capability = 5;
      host.Tell(pcoip_channel::Opened, &capability);
      host.AwaitReader(host.AllOpened()[0].handle);
      threads.LetGo();
      host.AwaitReader(kit::ObedientHost::LossyHandleOf(host.AllOpened()[0].handle));
   }
   threads.AwaitNone();
   Strings said;
   for (const auto &line : log.Lines()) {
      EXPECT_LE(line.level, logger::DEBUG) << line.text;
      // The readers' ends come from three threads at once; the threads' own lines are no matter of the channel.
      if (line.level == logger::DEBUG && line.text.find("recv FAILED") == std::string::npos &&
          line.text.find("STOP") == std::string::npos) {
         said.push_back(line.text.substr(0, line.text.find(" (0x")));
      }
   }
   EXPECT_EQ(said, (Strings{"add of pcoip_channel TLV",
                            "add of pcoip_mfw TLV",
                            "[TLV - Start] start of virtual channel - Lossy",
                            "[TLV - Start] setting lossy flag",
                            "[TLV - Start] Passing channel details to pcoipRunThread with name: TLV",
                            "[pcoipRunThread] for channel ZTH. (Lossy)",
                            "[pcoipRunThread] Adding channel ZTH to pcoipChannelThread queue. (Lossy)",
                            "channelThread START for channel ZTH",
                            "pcoip_vchan_open TLV Ok",
                            "Waiting for event notif. Channel ZTH",
                            "CB channel ZTH opened with capability 5",
                            "Event notif received. Channel ZTH",
                            "Channel opened. Channel ZTH",
                            "max datagram size 1200, inbuf capacity 27",
                            "Channel is lossy. Channel ZTH",
                            "max lossy datagram size 1000, inbuf capacity 32",
                            "channelThread remote connected channel: TLV, lossy=true, sendTimeout=250",
                            "channelThread2 START for channel ZTH",
                            "remove of pcoip_mfw TLV",
                            "stop of virtual channel ZTH",
                            "remove of pcoip_channel ZTH"}));
}

TEST_F(RunTest, LossyChannelHasASecondThread) {
   KeepingEndpoint endpoint("TLV two");
   OpenOnAgent(endpoint, true);
   EXPECT_EQ(threads.Started(), 2);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Channel is lossy. Channel %s", "ZTH two")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "max lossy datagram size %u, inbuf capacity %u", 1000U, 32U)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "channelThread2 START for channel %s", "ZTH two")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "channelThread remote connected channel: %s, lossy=%s, sendTimeout=%u", "TLV two",
                       "true", 250U))
      << log.Dump();
   EXPECT_EQ(endpoint.Channel()->GetRefCount(), 3);
   endpoint.Stop();
   threads.AwaitNone();
   EXPECT_EQ(endpoint.Channel()->GetRefCount(), 1);
}

TEST_F(RunTest, SecondThreadThatCannotBeMadeEndsTheFirstAndLeavesTheChannelOpen) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   KeepingEndpoint endpoint("TLV one");
   ASSERT_TRUE(endpoint.Start(true, 1));
   host.AwaitOpened(1);
   threads.FailNext(1);
   host.Tell(pcoip_channel::Opened);
   threads.AwaitNone();
   EXPECT_TRUE(log.Saw(logger::ERROR, "ChannelThread2 FAILED to start for channel %s", "ZTH one")) << log.Dump();
   EXPECT_EQ(endpoint.Channel()->CurrentState(), pcoip_channel::Open);
   EXPECT_EQ(endpoint.Channel()->GetRefCount(), 1);
   EXPECT_TRUE(endpoint.SendData(0, "abc", 3));
}

TEST_F(RunTest, NoMemoryForTheBufferLeavesTheChannelOpenWithoutAReader) {
   host.maxDatagram = UINT32_MAX; // wraps to 15 with the room
   KeepingEndpoint endpoint("TLV huge");
   endpoint.SetGotDataOptions(8, 8);
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.AwaitOpened(1);
   host.Tell(pcoip_channel::Opened);
   threads.AwaitNone();
   EXPECT_TRUE(log.Saw(logger::ERROR, "OutOfMem for read buffer, channel %s", "ZTH huge")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "max datagram size %u, inbuf capacity %u", UINT32_MAX, 1U)) << log.Dump();
   EXPECT_EQ(endpoint.Channel()->CurrentState(), pcoip_channel::Open);
   EXPECT_EQ(endpoint.States(), States{1});
   EXPECT_TRUE(host.Capacities().empty());
   endpoint.Stop();
   EXPECT_EQ(host.StillOpen(), 0U);
}

TEST_F(RunTest, NoMemoryForTheSecondBufferIsSaidToo) {
   host.maxLossyDatagram = UINT32_MAX;
   KeepingEndpoint endpoint("TLV huge");
   endpoint.SetGotDataOptions(8, 8);
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   ASSERT_TRUE(endpoint.Start(true, 1));
   host.AwaitOpened(1);
   host.Tell(pcoip_channel::Opened);
   threads.AwaitNone();
   EXPECT_TRUE(log.Saw(logger::ERROR, "OutOfMem for read buffer2, channel %s", "ZTH huge")) << log.Dump();
   EXPECT_EQ(threads.Started(), 1);
}

TEST_F(RunTest, StopBeforeTheHostHasItOpenEndsTheRunAndClosesAtTheHost) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   KeepingEndpoint endpoint("early");
   threads.HoldFrom(0);
   ASSERT_TRUE(endpoint.Start(false, 1));
   endpoint.Stop();
   threads.LetGo();
   threads.AwaitNone();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Channel not started or opened. Exiting. Channel %s", "early")) << log.Dump();
   EXPECT_EQ(host.AllOpened().size(), 1U);
   EXPECT_EQ(host.StillOpen(), 0U) << "nobody else would close it";
   EXPECT_TRUE(endpoint.States().empty());
}

// Required: nothing takes the event of the first opening back, so a later run does not wait. Its host must have it open
// by then, or the run ends.
TEST_F(RunTest, LaterRunOnTheSameChannelDoesNotWaitForItsOpening) {
   KeepingEndpoint endpoint("reopened");
   OpenOnAgent(endpoint);
   endpoint.Stop();
   threads.AwaitNone();
   log.Clear();
   ASSERT_TRUE(endpoint.Start(false, 1));
   threads.AwaitNone();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Event notif received. Channel %s", "reopened")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Channel not started or opened. Exiting. Channel %s", "reopened")) << log.Dump();
   EXPECT_EQ(host.StillOpen(), 1U) << "the host may still open it";
   host.Tell(pcoip_channel::Opened);
   EXPECT_EQ(endpoint.States(), (States{1, 1}));
   host.Session(1); // and the next run closes what nobody reads before it opens anew
   host.AwaitOpened(3);
   threads.AwaitNone();
   EXPECT_EQ(host.StillOpen(), 1U);
   EXPECT_EQ(endpoint.States(), (States{1, 1, 0}));
}

TEST_F(RunTest, SessionReportedTwiceIsNoSecondOpening) {
   KeepingEndpoint endpoint("twice");
   OpenOnAgent(endpoint);
   host.Session(1);
   host.Session(1);
   threads.AwaitStarted(3);
   threads.AwaitAtMost(1);
   host.Arrive(host.AllOpened()[0].handle, {"still read"});
   endpoint.AwaitData(1);
   endpoint.Stop();
   threads.AwaitNone();
   EXPECT_EQ(host.AllOpened().size(), 1U);
   EXPECT_EQ(endpoint.States(), States{1});
}

TEST_F(RunTest, NextRunWaitsForTheReadersOfTheFormer) {
   KeepingEndpoint endpoint("next");
   OpenOnAgent(endpoint);
   std::atomic<bool> inside{false};
   std::atomic<bool> letOut{false};
   endpoint.onData = [&](uint8_t *, uint32_t) {
      inside = true;
      while (!letOut) {
         std::this_thread::yield();
      }
   };
   host.Arrive(host.AllOpened()[0].handle, Numbered(3));
   while (!inside) {
      std::this_thread::yield();
   }
   endpoint.Stop();
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.Session(1); // a third thread, which finds that one waits already
   threads.AwaitStarted(3);
   for (int i = 0; i < 1000; ++i) {
      std::this_thread::yield();
   }
   EXPECT_EQ(host.AllOpened().size(), 1U);
   letOut = true;
   host.AwaitOpened(2);
   threads.AwaitNone();
   EXPECT_EQ(endpoint.Data().size(), 1U) << "the rest was the former opening's";
}

TEST_F(RunTest, ThreadThatCannotBeMadeClosesTheChannel) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   KeepingEndpoint endpoint("TLV none");
   threads.FailNext(1);
   EXPECT_TRUE(endpoint.Start(false, 1)) << "required: the channel is started all the same";
   EXPECT_TRUE(log.Saw(logger::ERROR, "ChannelThread FAILED to start for channel %s", "ZTH none")) << log.Dump();
   EXPECT_EQ(endpoint.Channel()->GetRefCount(), 1);
   EXPECT_EQ(threads.Started(), 0);
}

// ---- Batches --------------------------------------------------------------------------------------------------------

TEST_F(ReadingTest, BurstCostsOnePendingQuery) {
   KeepingEndpoint endpoint("burst");
   OpenOnAgent(endpoint);
   host.Arrive(host.AllOpened()[0].handle, Numbered(27));
   endpoint.AwaitData(27);
   EXPECT_EQ(endpoint.Data(), Numbered(27));
   EXPECT_EQ(host.PendingQueries(), 1);
   const auto capacities = host.Capacities();
   EXPECT_TRUE(std::all_of(capacities.begin(), capacities.end(), [](uint32_t each) { return each == 1200; }));
}

TEST_F(ReadingTest, BatchEndsAtTheCapacityAndTheNextStartsOver) {
   KeepingEndpoint endpoint("batches");
   OpenOnAgent(endpoint);
   std::vector<const uint8_t *> places;
   endpoint.onData = [&](const uint8_t *data, uint32_t) {
      places.push_back(data);
   };
   host.Arrive(host.AllOpened()[0].handle, Numbered(60));
   endpoint.AwaitData(60);
   EXPECT_EQ(endpoint.Data(), Numbered(60));
   EXPECT_EQ(host.PendingQueries(), 4) << "the last batch asks again when the count has run out";
   EXPECT_EQ(places[26], places[0] + 26 * 1200);
   EXPECT_EQ(places[27], places[0]);
   EXPECT_EQ(places[54], places[0]);
}

TEST_F(ReadingTest, ShortDatagramsFollowEachOtherWithoutGaps) {
   KeepingEndpoint endpoint("short");
   OpenOnAgent(endpoint);
   std::vector<const uint8_t *> places;
   endpoint.onData = [&](const uint8_t *data, uint32_t) {
      places.push_back(data);
   };
   host.Arrive(host.AllOpened()[0].handle, {"abc", "", "defgh", "i"});
   endpoint.AwaitData(3);
   EXPECT_EQ(endpoint.Data(), (Strings{"abc", "defgh", "i"})) << "required: an empty datagram is not handed out";
   EXPECT_EQ(places[1], places[0] + 3);
   EXPECT_EQ(places[2], places[0] + 8);
}

TEST_F(ReadingTest, LargeDatagramsComeOneAtATime) {
   host.maxDatagram = 40000;
   KeepingEndpoint endpoint("large");
   OpenOnAgent(endpoint);
   host.Arrive(host.AllOpened()[0].handle, Numbered(3, 40000));
   endpoint.AwaitData(3);
   EXPECT_EQ(endpoint.Data(), Numbered(3, 40000));
   EXPECT_EQ(host.PendingQueries(), 0);
}

TEST_F(ReadingTest, RoomInFrontAndBehindMayBeWritten) {
   host.maxDatagram = 16384;
   KeepingEndpoint endpoint("room");
   endpoint.header = 16;
   endpoint.SetGotDataOptions(16, 24);
   OpenOnAgent(endpoint);
   endpoint.onData = [](uint8_t *data, uint32_t size) {
      std::memset(data, 0xEE, 16);
      std::memset(data + 16 + size, 0xDD, 24);
   };
   host.Arrive(host.AllOpened()[0].handle, Numbered(5, 16384));
   endpoint.AwaitData(5);
   EXPECT_EQ(endpoint.Data(), Numbered(5, 16384));
}

TEST_F(ReadingTest, LossyDatagramsGoTheirOwnWay) {
   KeepingEndpoint endpoint("both");
   OpenOnAgent(endpoint, true);
   const uint32_t handle = host.AllOpened()[0].handle;
   host.Arrive(handle, {"reliable"});
   host.Arrive(kit::ObedientHost::LossyHandleOf(handle), {"lossy one", "lossy two"});
   endpoint.AwaitData(1);
   endpoint.AwaitLossy(2);
   EXPECT_EQ(endpoint.Data(), Strings{"reliable"});
   EXPECT_EQ(endpoint.Lossy(), (Strings{"lossy one", "lossy two"}));
   const auto capacities = host.Capacities();
   EXPECT_NE(std::find(capacities.begin(), capacities.end(), 1000U), capacities.end()) << "that of its own datagrams";
   EXPECT_EQ(host.PendingQueries(), 3) << "one for each batch, and one where the count has run out";
}

// ---- What ends it ---------------------------------------------------------------------------------------------------

TEST_F(ReadingTest, FailureOnTheReliableHandleClosesBothReaders) {
   KeepingEndpoint endpoint("fails");
   OpenOnAgent(endpoint, true);
   host.FailReceive(host.AllOpened()[0].handle, -33);
   threads.AwaitNone();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoip_vchan_recv FAILED result %d", -33)) << log.Dump();
   EXPECT_EQ(endpoint.States(), (States{1, 0}));
   EXPECT_EQ(endpoint.Channel()->GetRefCount(), 1);
}

TEST_F(ReadingTest, FailureOnTheLossyHandleClosesBothReaders) {
   KeepingEndpoint endpoint("fails");
   OpenOnAgent(endpoint, true);
   host.FailReceive(kit::ObedientHost::LossyHandleOf(host.AllOpened()[0].handle), -33);
   threads.AwaitNone();
   EXPECT_EQ(endpoint.States(), (States{1, 0}));
}

TEST_F(ReadingTest, HostThatReturnsMoreThanItWasOfferedIsClosed) {
   KeepingEndpoint endpoint("TLV liar");
   OpenOnAgent(endpoint);
   host.Arrive(host.AllOpened()[0].handle, {"small"}, 1201);
   threads.AwaitNone();
   EXPECT_TRUE(
      log.Saw(logger::ERROR, "pcoip_vchan_recv returned %u bytes where %u fit, channel %s", 1201U, 1200U, "ZTH liar"))
      << log.Dump();
   EXPECT_TRUE(endpoint.Data().empty());
   EXPECT_EQ(endpoint.States(), (States{1, 0}));
}

TEST_F(ReadingTest, HostThatReturnsAlmostFourGigabytesIsClosedInTheMiddleOfABatch) {
   KeepingEndpoint endpoint("liar");
   OpenOnAgent(endpoint);
   const uint32_t handle = host.AllOpened()[0].handle;
   std::atomic<bool> letOut{false};
   endpoint.onData = [&](uint8_t *, uint32_t) {
      while (!letOut) {
         std::this_thread::yield();
      }
   };
   host.Arrive(handle, {"first", "second"});
   host.Arrive(handle, {"third"}, UINT32_MAX);
   letOut = true;
   threads.AwaitNone();
   EXPECT_EQ(endpoint.Data(), (Strings{"first", "second"}));
   EXPECT_EQ(endpoint.States(), (States{1, 0}));
}

TEST_F(ReadingTest, CallbackThatThrowsClosesTheChannel) {
   for (const bool lossy : {false, true}) {
      KeepingEndpoint endpoint("throws");
      OpenOnAgent(endpoint, lossy);
      log.Clear();
      (lossy ? endpoint.onLossy : endpoint.onData) = [](uint8_t *, uint32_t) {
         throw std::runtime_error("on purpose");
      };
      const uint32_t handle = host.AllOpened().back().handle;
      host.Arrive(lossy ? kit::ObedientHost::LossyHandleOf(handle) : handle, {"one", "two"});
      threads.AwaitNone();
      EXPECT_EQ(log.Count(logger::ERROR, "EXCEPTION in user GotData callback"), 1) << log.Dump();
      EXPECT_EQ(endpoint.States(), (States{1, 0}));
      EXPECT_EQ(endpoint.Channel()->GetRefCount(), 1);
   }
}

TEST_F(ReadingTest, ChannelThatIsClosedInTheMiddleOfABatchIsNotWaitedFor) {
   KeepingEndpoint endpoint("closed");
   OpenOnAgent(endpoint);
   endpoint.onData = [&](uint8_t *, uint32_t) {
      endpoint.Stop();
   };
   host.Arrive(host.AllOpened()[0].handle, Numbered(3));
   threads.AwaitNone();
   EXPECT_EQ(endpoint.Data(), Numbered(1));
   EXPECT_FALSE(host.WasRead(kPcoipNoHandle));
}

TEST_F(ReadingTest, CallbackMaySendStopAndStart) {
   KeepingEndpoint endpoint("calls");
   OpenOnAgent(endpoint);
   endpoint.onData = [&](uint8_t *data, uint32_t size) {
      EXPECT_TRUE(endpoint.SendData(0, data, size));
      endpoint.Stop();
      EXPECT_TRUE(endpoint.Start(false, 1));
   };
   host.Arrive(host.AllOpened()[0].handle, {"echo", "never seen"});
   host.AwaitOpened(2);
   threads.AwaitNone();
   ASSERT_EQ(host.AllSent().size(), 1U);
   EXPECT_EQ(host.AllSent()[0].data, "echo");
   EXPECT_EQ(host.StillOpen(), 1U);
}

TEST_F(ReadingTest, RoomThatChangesWhileTheFormerReaderIsInItsCallbackIsNotItsRoom) {
   KeepingEndpoint endpoint("room");
   OpenOnAgent(endpoint);
   endpoint.onData = [&](uint8_t *, uint32_t) {
      endpoint.Stop();
      endpoint.SetGotDataOptions(1'000'000, 1'000'000);
   };
   host.Arrive(host.AllOpened()[0].handle, {"one", "two"});
   threads.AwaitNone();
   EXPECT_EQ(endpoint.Data(), Strings{"one"});
}

} // namespace
