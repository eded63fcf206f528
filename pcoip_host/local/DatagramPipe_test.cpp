#include "pcoip_host/local/DatagramPipe.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace pcoip_host {
namespace {

using Result = DatagramPipe::Result;
constexpr uint32_t kLargest = 1000;

struct Pipes {
   explicit Pipes(uint32_t largest = kLargest)
       : Pipes(MakeSocketPair().value(), largest) {}
   Pipes(SocketPair pair, uint32_t largest)
       : a(std::move(pair.first), largest)
       , b(std::move(pair.second), largest) {}

   DatagramPipe a;
   DatagramPipe b;
};

Result Send(DatagramPipe &pipe, const std::string &text) {
   return pipe.Send(text.data(), static_cast<uint32_t>(text.size()), 0);
}

std::string Receive(DatagramPipe &pipe) {
   std::string text(kLargest, '?');
   uint32_t size = 0;
   EXPECT_EQ(pipe.Receive(text.data(), kLargest, &size, 0), Result::kDone);
   return text.substr(0, size);
}

// Bytes as another program would write them.
void SendRaw(const Descriptor &socket, const std::string &bytes) {
   EXPECT_EQ(SendSome(socket, {bytes.data(), bytes.size()}), static_cast<ptrdiff_t>(bytes.size()));
}

TEST(DatagramPipe, KeepsBordersAndOrderBothWays) {
   Pipes pipes;
   EXPECT_EQ(Send(pipes.a, "one"), Result::kDone);
   EXPECT_EQ(Send(pipes.a, ""), Result::kDone);
   EXPECT_EQ(Send(pipes.a, std::string(kLargest, 'x')), Result::kDone);
   EXPECT_EQ(Send(pipes.b, "back"), Result::kDone);
   EXPECT_EQ(Receive(pipes.b), "one");
   EXPECT_EQ(Receive(pipes.b), "");
   EXPECT_EQ(Receive(pipes.b), std::string(kLargest, 'x'));
   EXPECT_EQ(Receive(pipes.a), "back");
}

TEST(DatagramPipe, IsSizeAndBytesOnTheSocket) {
   SocketPair pair = MakeSocketPair().value();
   DatagramPipe pipe(std::move(pair.first), kLargest);
   EXPECT_EQ(Send(pipe, "abc"), Result::kDone);
   char bytes[16];
   ASSERT_EQ(ReceiveSome(pair.second, bytes, sizeof bytes, Waiting::kNo), 7);
   EXPECT_EQ(std::string(bytes, 7), std::string("\0\0\0\3abc", 7));
}

TEST(DatagramPipe, CountsWhatCanBeHadWithoutAWait) {
   Pipes pipes;
   EXPECT_EQ(pipes.b.Pending(), 0U);
   for (uint32_t count = 1; count <= 30; ++count) {
      EXPECT_EQ(Send(pipes.a, std::string(count, 'x')), Result::kDone);
      EXPECT_EQ(pipes.b.Pending(), count);
   }
   Receive(pipes.b);
   EXPECT_EQ(pipes.b.Pending(), 29U);
}

TEST(DatagramPipe, ADatagramThatComesInPiecesIsOne) {
   SocketPair pair = MakeSocketPair().value();
   DatagramPipe pipe(std::move(pair.second), kLargest);
   const std::string bytes("\0\0\0\5hello\0\0\0\1!", 14);
   for (size_t at = 0; at < bytes.size(); ++at) {
      EXPECT_EQ(pipe.Pending(), at < 9 ? 0U : 1U) << at;
      SendRaw(pair.first, bytes.substr(at, 1));
   }
   EXPECT_EQ(pipe.Pending(), 2U);
   EXPECT_EQ(Receive(pipe), "hello");
   EXPECT_EQ(Receive(pipe), "!");
}

TEST(DatagramPipe, TooLargeIsRefusedAndTheNextGoes) {
   Pipes pipes;
   EXPECT_EQ(Send(pipes.a, std::string(kLargest + 1, 'x')), Result::kTooLarge);
   EXPECT_EQ(Send(pipes.a, "small"), Result::kDone);
   EXPECT_EQ(Receive(pipes.b), "small");
}

TEST(DatagramPipe, WhatDoesNotFitTheReceiversRoomStaysTheNext) {
   Pipes pipes;
   EXPECT_EQ(Send(pipes.a, "12345"), Result::kDone);
   char room[5];
   uint32_t size = 0;
   EXPECT_EQ(pipes.b.Receive(room, 4, &size, -1), Result::kTooLarge);
   EXPECT_EQ(size, 5U);
   EXPECT_EQ(pipes.b.Receive(room, 5, &size, -1), Result::kDone);
   EXPECT_EQ(std::string(room, size), "12345");
}

TEST(DatagramPipe, ASizeThatCannotBeEndsIt) {
   for (const std::string &size : {std::string("\0\0\3\351", 4), std::string("\377\377\377\377", 4)}) {
      SocketPair pair = MakeSocketPair().value();
      DatagramPipe pipe(std::move(pair.second), kLargest);
      SendRaw(pair.first, size + std::string(2000, 'x'));
      char room[kLargest];
      uint32_t got = 0;
      EXPECT_EQ(pipe.Receive(room, kLargest, &got, -1), Result::kClosed);
      EXPECT_EQ(pipe.Receive(room, kLargest, &got, -1), Result::kClosed);
      EXPECT_EQ(pipe.Pending(), 0U);
   }
}

TEST(DatagramPipe, WhatWasSentBeforeTheEndIsReadFirst) {
   Pipes pipes;
   EXPECT_EQ(Send(pipes.a, "one"), Result::kDone);
   EXPECT_EQ(Send(pipes.a, "two"), Result::kDone);
   pipes.a.Shutdown();
   EXPECT_FALSE(pipes.b.IsDrained());
   EXPECT_EQ(Receive(pipes.b), "one");
   EXPECT_FALSE(pipes.b.IsDrained());
   EXPECT_EQ(Receive(pipes.b), "two");
   EXPECT_TRUE(pipes.b.IsDrained());
   char room[4];
   uint32_t size = 0;
   EXPECT_EQ(pipes.b.Receive(room, 4, &size, -1), Result::kClosed);
   EXPECT_EQ(Send(pipes.b, "late"), Result::kClosed);
}

TEST(DatagramPipe, AReceiveThatWaitsEndsWithTheShutdownOfEitherSide) {
   for (const bool own : {true, false}) {
      Pipes pipes;
      std::thread reader([&] {
         char room[4];
         uint32_t size = 0;
         EXPECT_EQ(pipes.b.Receive(room, 4, &size, -1), Result::kClosed);
      });
      (own ? pipes.b : pipes.a).Shutdown();
      reader.join();
   }
}

TEST(DatagramPipe, AReceiveWithALimitEnds) {
   Pipes pipes;
   char room[4];
   uint32_t size = 0;
   EXPECT_EQ(pipes.b.Receive(room, 4, &size, 0), Result::kTimedOut);
   EXPECT_EQ(pipes.b.Receive(room, 4, &size, 3), Result::kTimedOut);
}

// A reader that does not read: datagrams are refused whole, and what had begun is neither lost nor torn.
TEST(DatagramPipe, AFullSocketRefusesAndLosesNothingThatItTook) {
   constexpr uint32_t kBig = 100'000;
   Pipes pipes(kBig);
   std::string datagram(kBig, 'x');
   uint32_t taken = 0;
   bool sawParked = false;
   for (Result result = Result::kDone; result != Result::kTimedOut;) {
      datagram[0] = static_cast<char>(taken);
      result = pipes.a.Send(datagram.data(), kBig, 1);
      taken += result != Result::kTimedOut ? 1 : 0;
      sawParked |= result == Result::kParked;
      ASSERT_LT(taken, 200U);
   }
   EXPECT_EQ(pipes.a.HasParked(), sawParked);
   std::string room(kBig, '?');
   for (uint32_t number = 0; number < taken; ++number) {
      uint32_t size = 0;
      ASSERT_EQ(pipes.b.Receive(room.data(), kBig, &size, 0), Result::kDone);
      EXPECT_EQ(room[0], static_cast<char>(number));
      EXPECT_EQ(size, kBig);
      static_cast<void>(pipes.a.FlushParked());
   }
   EXPECT_FALSE(pipes.a.HasParked());
   EXPECT_EQ(pipes.b.Pending(), 0U);
   EXPECT_EQ(pipes.a.Send(datagram.data(), 3, 0), Result::kDone);
}

TEST(DatagramPipe, SendersOfSeveralThreadsDoNotMixTheirBytes) {
   Pipes pipes(5000);
   constexpr int kEach = 300;
   std::vector<std::thread> senders;
   for (const char letter : {'a', 'b', 'c'}) {
      senders.emplace_back([&, letter] {
         const std::string datagram(4000, letter);
         for (int i = 0; i < kEach; ++i) {
            EXPECT_NE(pipes.a.Send(datagram.data(), 4000, UINT32_MAX), Result::kTimedOut);
         }
      });
   }
   std::string room(5000, '?');
   for (int i = 0; i < 3 * kEach; ++i) {
      uint32_t size = 0;
      ASSERT_EQ(pipes.b.Receive(room.data(), 5000, &size, -1), Result::kDone);
      ASSERT_EQ(size, 4000U);
      ASSERT_EQ(room.substr(0, size), std::string(4000, room[0]));
   }
   for (std::thread &sender : senders) {
      sender.join();
   }
}

} // namespace
} // namespace pcoip_host
