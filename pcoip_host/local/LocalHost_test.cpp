#include "pcoip_host/local/LocalHost.h"

#include "pcoip_host/local/LocalHostTestKit.h"

#include "tests/kit/PerturbedSchedule.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

namespace pcoip_host {
namespace {

using testkit::Name;
using testkit::Plugin;
using testkit::Session;
using Texts = std::vector<std::string>;

size_t OpenDescriptors() {
   size_t count = 0;
   for (int fd = 0; fd < 1024; ++fd) {
      count += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
   }
   return count;
}

// ---- The session ----------------------------------------------------------------------------------------------------

TEST(LocalHost, TheSessionIsToldOnceToEachSide) {
   Session session;
   EXPECT_EQ(session.first.Events(), (Texts{"connected"}));
   EXPECT_EQ(session.second.Events(), (Texts{"connected"}));
   EXPECT_TRUE(session.firstHost->connected());
}

TEST(LocalHost, ThereIsNoSessionBeforeBothSidesAreReady) {
   SocketPair pair = MakeSocketPair().value();
   const auto host = LocalHost::Create(std::move(pair.first), {});
   EXPECT_TRUE(host->connect());
   EXPECT_TRUE(host->connect());
   EXPECT_FALSE(host->connected());
   EXPECT_EQ(host->table().pcoip_get_connection_state(), 0);
   Plugin plugin(host.get(), 0);
   EXPECT_EQ(plugin.Open("video"), kPcoipNoHandle);
   EXPECT_EQ(plugin.LastResult(), kNotConnected);
   uint32_t size = 0;
   EXPECT_EQ(plugin.Table().pcoip_vchan_get_max_dgram_size(&size), kNotConnected);
   EXPECT_FALSE(host->openByName("video", false));
}

TEST(LocalHost, APluginThatAsksLateIsToldByTheAnswer) {
   SocketPair pair = MakeSocketPair().value();
   auto first = LocalHost::Create(std::move(pair.first), {});
   auto second = LocalHost::Create(std::move(pair.second), {LocalRendezvous::Role::kFollowing});
   EXPECT_TRUE(first->connect());
   Plugin other(second.get(), 1);
   other.Await("connected");
   const uint32_t theirs = other.Open("video");
   while (!first->connected()) {
      std::this_thread::yield();
   }
   Plugin plugin(first.get(), 0);
   plugin.Await("asked video reliable");
   EXPECT_EQ(plugin.Count("connected"), 1U); // by the answer, and by no event
   EXPECT_EQ(plugin.Open("video"), 1U);
   plugin.Await("1 opened 1");
   other.Await(std::to_string(theirs) + " opened 1");
   first.reset(); // before the plugins, which its thread tells of the end
   second.reset();
}

TEST(LocalHost, OnePluginRegistersAtATime) {
   Session session;
   uint64_t context = 0;
   const auto callback = [](uint64_t, uint64_t, uint32_t, const void *) {
   };
   EXPECT_EQ(session.first.Table().pcoip_register_connect_callback(0, callback, nullptr, &context), kBadArgument);
   EXPECT_EQ(session.first.Table().pcoip_unregister_connect_callback(99), kBadArgument);
   EXPECT_EQ(session.first.Table().pcoip_register_connect_callback(0, nullptr, nullptr, &context), kBadArgument);
   EXPECT_EQ(session.first.Table().pcoip_register_connect_callback(0, callback, nullptr, nullptr), kBadArgument);
}

TEST(LocalHost, TheSmallerLargestDatagramCounts) {
   LocalHostOptions first;
   first.largestDatagram = 1000;
   first.largestLossyDatagram = 3000;
   LocalHostOptions second{LocalRendezvous::Role::kFollowing, 2000, 500, 0, 1};
   Session session(MakeSocketPair().value(), first, second);
   const auto ends = session.OpenBoth("video", true);
   for (Plugin *side : {&session.first, &session.second}) {
      uint32_t size = 0;
      EXPECT_EQ(side->Table().pcoip_vchan_get_max_dgram_size(&size), 0);
      EXPECT_EQ(size, 1000U);
      const uint32_t handle = side == &session.first ? ends.first : ends.second;
      EXPECT_EQ(side->Table().pcoip_vchan_get_max_udgram_size(side->Lossy(handle), &size), 0);
      EXPECT_EQ(size, 500U);
      EXPECT_EQ(side->Send(handle, std::string(1001, 'x')), kTooLarge);
      EXPECT_EQ(side->SendLossy(side->Lossy(handle), std::string(501, 'x')), kTooLarge);
   }
}

// ---- Opening and closing --------------------------------------------------------------------------------------------

TEST(LocalHost, AChannelOpensWhenBothSidesHaveOpenedItInAnyOrder) {
   Session session;
   const uint32_t a = session.first.Open("a", true);
   session.second.Await("asked a lossy");
   session.second.Open("a", true);
   session.first.Await(std::to_string(a) + " opened 1");
   session.second.Await("1 opened 1");

   const uint32_t b = session.second.Open("b");
   session.first.Await("asked b reliable");
   const uint32_t mine = session.first.Open("b");
   session.first.Await(std::to_string(mine) + " opened 1");
   session.second.Await(std::to_string(b) + " opened 1");
   EXPECT_EQ(session.first.Count("asked a lossy"), 0U);
}

TEST(LocalHost, AnswersARequestFromWithinTheEvent) {
   Session session;
   session.second.OnRemoteOpen(
      [&](const PcoipRemoteOpen &request) { session.second.Open(request.name, request.flags == 1); });
   const uint32_t handle = session.first.Open("video", true);
   session.first.Await(std::to_string(handle) + " opened 1");
}

TEST(LocalHost, OpensByNameAtTheOtherSide) {
   Session session;
   EXPECT_TRUE(session.first.LastResult() == 0 && session.firstHost->openByName("video", true));
   session.second.Await("asked video lossy");
   EXPECT_FALSE(session.firstHost->openByName("", true));
   EXPECT_FALSE(session.firstHost->openByName(std::string(32, 'n').c_str(), true));
   EXPECT_FALSE(session.firstHost->openByName(nullptr, true));
   EXPECT_EQ(session.first.Events(), (Texts{"connected"}));
}

TEST(LocalHost, TwoKindsOfOneNameAreRejectedOnBothSides) {
   Session session;
   const uint32_t mine = session.first.Open("video", true);
   const uint32_t theirs = session.second.Open("video", false);
   session.first.Await(std::to_string(mine) + " rejected");
   session.second.Await(std::to_string(theirs) + " rejected");
   EXPECT_EQ(session.first.Receive(mine), "<" + std::to_string(kNotOpen) + ">");
}

TEST(LocalHost, WrongArgumentsAreRefused) {
   Session session;
   uint32_t handle = 7;
   const PcoipHostTable &table = session.first.Table();
   const auto callback = [](void *, uint32_t, uint32_t, const void *) {
   };
   const std::string unended(kPcoipNameBytes, 'n');
   const Name good("video");
   EXPECT_EQ(table.pcoip_vchan_open(nullptr, 0, 1, 0, callback, nullptr, &handle), kBadArgument);
   EXPECT_EQ(table.pcoip_vchan_open(unended.data(), 0, 1, 0, callback, nullptr, &handle), kBadArgument);
   EXPECT_EQ(table.pcoip_vchan_open(Name("").bytes.data(), 0, 1, 0, callback, nullptr, &handle), kBadArgument);
   EXPECT_EQ(table.pcoip_vchan_open(good.bytes.data(), 1, 1, 0, callback, nullptr, &handle), kBadArgument);
   EXPECT_EQ(table.pcoip_vchan_open(good.bytes.data(), 0, 1, 0, nullptr, nullptr, &handle), kBadArgument);
   EXPECT_EQ(table.pcoip_vchan_open(good.bytes.data(), 0, 1, 0, callback, nullptr, nullptr), kBadArgument);
   EXPECT_EQ(handle, 7U);
   const uint32_t open = session.OpenBoth("video").first;
   session.first.Open("video");
   EXPECT_EQ(session.first.LastResult(), kNameInUse);
   EXPECT_EQ(table.pcoip_vchan_send(open, nullptr, 1, 0), kBadArgument);
   uint32_t size = 0;
   EXPECT_EQ(table.pcoip_vchan_recv(open, nullptr, 1, &size, 0), kBadArgument);
   EXPECT_EQ(table.pcoip_vchan_recv(open, &size, 1, nullptr, 0), kBadArgument);
   EXPECT_EQ(table.pcoip_vchan_pending(open, nullptr), kBadArgument);
   EXPECT_EQ(table.pcoip_vchan_get_uchan_handle(open, nullptr), kBadArgument);
   EXPECT_EQ(table.pcoip_vchan_get_max_dgram_size(nullptr), kBadArgument);
}

TEST(LocalHost, WrongHandlesAreRefusedByEveryOperation) {
   Session session;
   const uint32_t reliable = session.OpenBoth("reliable").first;
   const uint32_t closed = session.OpenBoth("closed").first;
   EXPECT_EQ(session.first.Close(closed), 0);
   const PcoipHostTable &table = session.first.Table();
   for (const uint32_t handle : {0U, 99U, kPcoipNoHandle, closed, reliable | 0x40000000U}) {
      uint32_t word = 0;
      EXPECT_EQ(session.first.Send(handle, "x"), kNoChannel) << handle;
      EXPECT_EQ(session.first.SendLossy(handle, "x"), kNoChannel) << handle;
      EXPECT_EQ(table.pcoip_vchan_recv(handle, &word, 4, &word, 0), kNoChannel) << handle;
      EXPECT_EQ(table.pcoip_vchan_urecv(handle, &word, 4, &word, 0), kNoChannel) << handle;
      EXPECT_EQ(table.pcoip_vchan_pending(handle, &word), kNoChannel) << handle;
      EXPECT_EQ(table.pcoip_vchan_upending(handle, &word), kNoChannel) << handle;
      EXPECT_EQ(table.pcoip_vchan_get_uchan_handle(handle, &word), kNoChannel) << handle;
      EXPECT_EQ(table.pcoip_vchan_get_max_udgram_size(handle, &word), kNoChannel) << handle;
      EXPECT_EQ(session.first.Close(handle), kNoChannel) << handle;
   }
   EXPECT_EQ(session.first.SendLossy(reliable, "x"), kNoChannel);
}

TEST(LocalHost, TheOtherSidesCloseComesBehindItsDatagrams) {
   Session session;
   const auto ends = session.OpenBoth("video");
   EXPECT_EQ(session.first.Send(ends.first, "one"), 0);
   EXPECT_EQ(session.first.Send(ends.first, "two"), 0);
   EXPECT_EQ(session.first.Close(ends.first), 0);
   EXPECT_EQ(session.second.Receive(ends.second), "one");
   EXPECT_EQ(session.second.Receive(ends.second), "two");
   EXPECT_EQ(session.second.Receive(ends.second), "<" + std::to_string(kClosed) + ">");
   session.second.Await(std::to_string(ends.second) + " closed");
   EXPECT_EQ(session.second.Send(ends.second, "late"), kClosed);
   EXPECT_EQ(session.first.Count(std::to_string(ends.first) + " closed"), 0U);
}

TEST(LocalHost, TheOtherSidesCloseIsToldToASideThatDoesNotRead) {
   Session session;
   const auto ends = session.OpenBoth("video");
   EXPECT_EQ(session.first.Send(ends.first, "unread"), 0);
   EXPECT_EQ(session.first.Close(ends.first), 0);
   session.second.Await(std::to_string(ends.second) + " closed");
   EXPECT_EQ(session.second.Count(std::to_string(ends.second) + " closed"), 1U);
}

TEST(LocalHost, ReceivesThatWaitEndWithTheOwnClose) {
   Session session;
   const auto ends = session.OpenBoth("video", true);
   const uint32_t lossy = session.first.Lossy(ends.first);
   std::thread reliableReader([&] { EXPECT_EQ(session.first.Receive(ends.first), "<-8>"); });
   std::thread lossyReader([&] { EXPECT_EQ(session.first.Receive(lossy), "<-8>"); });
   // Both may still be on their way in: then the handle is unknown, and nothing waits either.
   while (session.first.Pending(ends.first) + session.first.Pending(lossy) != 0) {
   }
   std::this_thread::sleep_for(std::chrono::milliseconds(20));
   EXPECT_EQ(session.first.Close(ends.first), 0);
   reliableReader.join();
   lossyReader.join();
}

TEST(LocalHost, AChannelCanBeOpenedAgainAndAgain) {
   Session session;
   session.second.OnRemoteOpen([&](const PcoipRemoteOpen &request) { session.second.Open(request.name); });
   session.second.OnClosed([&](uint32_t handle) { EXPECT_EQ(session.second.Close(handle), 0); });
   const auto open = [&] {
      const uint32_t handle = session.first.Open("video");
      session.first.Await(std::to_string(handle) + " opened 1");
      return handle;
   };
   for (uint32_t theirs = 1; theirs <= 50; ++theirs) {
      const uint32_t handle = open();
      session.second.Await(std::to_string(theirs) + " opened 1");
      EXPECT_EQ(session.first.Send(handle, "hello"), 0);
      EXPECT_EQ(session.second.Receive(theirs), "hello");
      EXPECT_EQ(session.first.Close(handle), 0);
   }
   const size_t before = OpenDescriptors();
   open();
   EXPECT_LE(OpenDescriptors(), before + 4) << "closed channels keep no sockets";
}

// ---- Datagrams ------------------------------------------------------------------------------------------------------

TEST(LocalHost, ReliableDatagramsArriveInOrderAndAreCounted) {
   Session session;
   const auto ends = session.OpenBoth("video");
   for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(session.first.Send(ends.first, std::to_string(i)), 0);
   }
   EXPECT_EQ(session.second.Pending(ends.second), 20U);
   for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(session.second.Receive(ends.second), std::to_string(i));
   }
   EXPECT_EQ(session.second.Pending(ends.second), 0U);
   EXPECT_EQ(session.second.Receive(ends.second, 1), "<" + std::to_string(kTimedOut) + ">");
   EXPECT_EQ(session.firstHost->Traffic().reliable, 20U);
}

TEST(LocalHost, BothHandlesOfALossyChannelCarryTheirOwn) {
   Session session;
   const auto ends = session.OpenBoth("video", true);
   const uint32_t lossy = session.first.Lossy(ends.first);
   const uint32_t theirs = session.second.Lossy(ends.second);
   EXPECT_NE(lossy, ends.first);
   EXPECT_EQ(session.first.SendLossy(lossy, "lossy"), 0);
   EXPECT_EQ(session.first.Send(ends.first, "reliable"), 0);
   EXPECT_EQ(session.second.Receive(ends.second), "reliable");
   EXPECT_EQ(session.second.Receive(theirs), "lossy");
   EXPECT_EQ(session.second.SendLossy(theirs, "back"), 0);
   EXPECT_EQ(session.first.Receive(lossy), "back");
}

TEST(LocalHost, LossyDatagramsGetLostAsTheSeedSaysAndAreCounted) {
   LocalHostOptions options;
   options.lossPerMillion = 300'000;
   options.seed = 42;
   Session session(options);
   const auto ends = session.OpenBoth("video", true);
   const uint32_t lossy = session.first.Lossy(ends.first);
   const uint32_t theirs = session.second.Lossy(ends.second);
   const LossPlan plan(42, "video", 300'000);
   uint64_t lost = 0;
   for (uint64_t number = 0; number < 1000; ++number) {
      EXPECT_EQ(session.first.SendLossy(lossy, std::to_string(number)), 0);
      EXPECT_EQ(session.first.Send(ends.first, std::to_string(number)), 0);
      if (plan.IsLost(number)) {
         ++lost;
      } else {
         EXPECT_EQ(session.second.Receive(theirs), std::to_string(number));
      }
      EXPECT_EQ(session.second.Receive(ends.second), std::to_string(number)) << "reliable ones never get lost";
   }
   EXPECT_EQ(session.second.Pending(theirs), 0U);
   const LocalTraffic traffic = session.firstHost->Traffic();
   EXPECT_EQ(traffic.reliable, 1000U);
   EXPECT_EQ(traffic.lossy, 1000U);
   EXPECT_EQ(traffic.lost, lost);
   EXPECT_EQ(traffic.refused, 0U);
   EXPECT_GT(lost, 200U);
}

TEST(LocalHost, ASideThatDoesNotReadHoldsReliableSendersBackUntilTheirTimeIsOver) {
   Session session;
   const auto ends = session.OpenBoth("video", true);
   const std::string datagram(16000, 'x');
   uint64_t taken = 0;
   while (session.first.Send(ends.first, datagram, 1) == 0) {
      ++taken;
   }
   EXPECT_EQ(session.first.Send(ends.first, datagram, 0), kTimedOut);
   const uint32_t lossy = session.first.Lossy(ends.first);
   while (session.first.SendLossy(lossy, datagram, 1) == 0) {
   }
   EXPECT_EQ(session.first.SendLossy(lossy, datagram, 0), kPcoipDropped);
   EXPECT_EQ(session.firstHost->Traffic().refused, 2U);
   for (uint64_t i = 0; i < taken; ++i) {
      ASSERT_EQ(session.second.Receive(ends.second), datagram);
   }
   EXPECT_EQ(session.second.Pending(ends.second), 0U);
   EXPECT_EQ(session.first.Send(ends.first, "again", 1000), 0);
   EXPECT_EQ(session.second.Receive(ends.second), "again");
}

// The rest of a datagram that was taken goes out although its channel was closed.
TEST(LocalHost, WhatWasTakenIsDeliveredAfterTheClose) {
   LocalHostOptions options;
   options.largestDatagram = 60000;
   Session session(options);
   const auto ends = session.OpenBoth("video");
   const std::string datagram(60000, 'x');
   uint64_t taken = 0;
   while (session.first.Send(ends.first, datagram, 1) == 0) {
      ++taken;
   }
   EXPECT_EQ(session.first.Close(ends.first), 0);
   uint64_t received = 0;
   while (session.second.Receive(ends.second) == datagram) {
      ++received;
   }
   EXPECT_EQ(received, taken);
}

// ---- The end of the other side --------------------------------------------------------------------------------------

TEST(LocalHost, TheEndOfTheOtherSideClosesEachChannelThenTheSession) {
   Session session;
   const auto video = session.OpenBoth("video", true);
   const auto audio = session.OpenBoth("audio");
   const uint32_t waits = session.second.Open("waits");
   EXPECT_EQ(session.first.Send(audio.first, "last words"), 0);
   session.firstHost->disconnect();
   EXPECT_EQ(session.second.Receive(audio.second), "last words");
   session.second.Await("disconnected");
   const Texts events = session.second.Events();
   EXPECT_EQ(events.back(), "disconnected");
   for (const uint32_t handle : {video.second, audio.second, waits}) {
      EXPECT_EQ(session.second.Count(std::to_string(handle) + " closed"), 1U);
   }
   session.first.Await("disconnected");
   EXPECT_EQ(session.first.Events().back(), "disconnected");
   EXPECT_EQ(session.first.Count(std::to_string(video.first) + " closed"), 1U);
   for (const Plugin *side : {&session.first, &session.second}) {
      EXPECT_EQ(side->Table().pcoip_get_connection_state(), 0);
   }
   EXPECT_EQ(session.second.Open("new"), kPcoipNoHandle);
   EXPECT_EQ(session.second.LastResult(), kNotConnected);
   EXPECT_FALSE(session.secondHost->connect());
}

TEST(LocalHost, ADestroyedHostsTableFailsAndItsPlaceIsFreeAgain) {
   const size_t before = OpenDescriptors();
   for (int round = 0; round < 20; ++round) {
      const PcoipHostTable *table = nullptr;
      {
         Session session;
         table = &session.firstHost->table();
         session.OpenBoth("video", true);
      }
      uint32_t word = 0;
      EXPECT_EQ(table->pcoip_get_connection_state(), 0);
      EXPECT_EQ(table->pcoip_vchan_send(1, "x", 1, 0), kNotConnected);
      EXPECT_EQ(table->pcoip_vchan_recv(1, &word, 4, &word, -1), kNotConnected);
   }
   EXPECT_EQ(OpenDescriptors(), before);
}

TEST(LocalHost, OneProcessHasFourHostsAtMost) {
   std::vector<std::unique_ptr<LocalHost>> hosts;
   std::vector<Descriptor> others;
   for (size_t i = 0; i < LocalHost::kMostHosts; ++i) {
      SocketPair pair = MakeSocketPair().value();
      hosts.push_back(LocalHost::Create(std::move(pair.first), {}));
      others.push_back(std::move(pair.second));
      ASSERT_NE(hosts.back(), nullptr);
   }
   EXPECT_EQ(LocalHost::Create(std::move(MakeSocketPair()->first), {}), nullptr);
   hosts.pop_back();
   EXPECT_NE(LocalHost::Create(std::move(MakeSocketPair()->first), {}), nullptr);
}

TEST(LocalHost, IsRefusedWhatIsNoSocketAndSizesThatAreNone) {
   EXPECT_EQ(LocalHost::Create(Descriptor(), {}), nullptr);
   EXPECT_EQ(LocalHost::Create(Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)), {}), nullptr);
   LocalHostOptions none;
   none.largestDatagram = 0;
   EXPECT_EQ(LocalHost::Create(std::move(MakeSocketPair()->first), none), nullptr);
   none.largestDatagram = LocalHost::kMostDatagram + 1;
   EXPECT_EQ(LocalHost::Create(std::move(MakeSocketPair()->first), none), nullptr);
}

TEST(LocalHost, NoSocketIsInheritedByPrograms) {
   const auto inherited = [] {
      size_t count = 0;
      for (int fd = 0; fd < 1024; ++fd) {
         const int flags = fcntl(fd, F_GETFD);
         count += flags != -1 && (flags & FD_CLOEXEC) == 0 ? 1 : 0;
      }
      return count;
   };
   const size_t before = inherited();
   Session session;
   session.OpenBoth("video", true);
   EXPECT_EQ(inherited(), before);
}

// A program that is no host at the other end, or a broken one.
TEST(LocalHost, NonsenseEndsTheSession) {
   LocalMessage hello;
   hello.size = hello.lossySize = 1000;
   LocalMessage open;
   open.kind = LocalMessage::Kind::kOpen;
   LocalMessage join;
   join.kind = LocalMessage::Kind::kJoin;
   LocalMessage named = open;
   named.channel = 1;
   named.name = "video";
   LocalMessage empty;
   const std::vector<std::vector<LocalMessage>> talks = {
      {named}, {empty}, {hello, hello}, {hello, open}, {hello, join}};
   for (const auto &talk : talks) {
      SocketPair pair = MakeSocketPair().value();
      const auto host = LocalHost::Create(std::move(pair.first), {});
      Plugin plugin(host.get(), 0);
      for (const LocalMessage &message : talk) {
         const LocalMessage::Record record = message.Pack();
         EXPECT_EQ(SendSome(pair.second, {record.data(), record.size()}), 64);
      }
      while (host->connect() || plugin.Count("connected") != plugin.Count("disconnected")) {
         std::this_thread::yield();
      }
   }
}

TEST(LocalHost, SurvivesEveryInterleavingOfItsThreads) {
   const kit::PerturbedSchedule perturbed;
   for (uint32_t round = 0; round < 30; ++round) {
      Session session;
      session.second.OnRemoteOpen([&](const PcoipRemoteOpen &request) { session.second.Open(request.name, true); });
      session.second.OnClosed([&](uint32_t handle) { session.second.Close(handle); });
      const uint32_t handle = session.first.Open("video", true);
      session.first.Await(std::to_string(handle) + " opened 1");
      std::thread reader([&] {
         while (session.first.Receive(handle)[0] != '<') {
         }
      });
      std::thread sender([&] {
         while (session.first.Send(handle, "x") == 0) {
         }
      });
      session.second.Await("1 opened 1");
      std::thread otherReader([&] {
         while (session.second.Receive(1)[0] != '<') {
         }
      });
      if (round % 3 == 0) {
         session.first.Close(handle);
      } else if (round % 3 == 1) {
         session.second.Close(1);
      } else {
         session.secondHost->disconnect();
      }
      reader.join();
      sender.join();
      otherReader.join();
   }
}

} // namespace
} // namespace pcoip_host
