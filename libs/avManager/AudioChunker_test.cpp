#include "libs/avManager/AudioChunker.h"

#include "tests/kit/GuardedMemory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// ---- The size of a chunk --------------------------------------------------------------------------------------------

TEST(AudioChunkSize, IsTheStatedOne) {
   EXPECT_EQ(AudioChunkSize(48000, 16, 1, 20), 1920);
   EXPECT_EQ(AudioChunkSize(48000, 16, 1, 10), 960);
   EXPECT_EQ(AudioChunkSize(8000, 16, 1, 10), 160);
   EXPECT_EQ(AudioChunkSize(16000, 16, 1, 20), 640);
   EXPECT_EQ(AudioChunkSize(48000, 16, 2, 10), 1920);
   EXPECT_EQ(AudioChunkSize(4000, 16, 2, 10), 160) << "the channels count before the division";
}

TEST(AudioChunkSize, RequiredRatesAreCutToWholeMultiplesOf8000) {
   EXPECT_EQ(AudioChunkSize(44100, 16, 1, 10), 800);
   EXPECT_EQ(AudioChunkSize(47999, 16, 1, 10), 800);
   EXPECT_EQ(AudioChunkSize(7999, 16, 1, 10), 0);
   EXPECT_EQ(AudioChunkSize(44100, 16, 2, 10), 1760) << "88200 / 8000 is 11";
}

TEST(AudioChunkSize, NothingPositiveNoChunk) {
   EXPECT_EQ(AudioChunkSize(0, 16, 1, 10), 0);
   EXPECT_EQ(AudioChunkSize(48000, 0, 1, 10), 0);
   EXPECT_EQ(AudioChunkSize(48000, 16, 0, 10), 0);
   EXPECT_EQ(AudioChunkSize(48000, 16, 1, 0), 0);
   EXPECT_EQ(AudioChunkSize(-48000, 16, 1, 10), 0);
   EXPECT_EQ(AudioChunkSize(-48000, 16, -1, 10), 0);
   EXPECT_EQ(AudioChunkSize(48000, 16, 1, -1), 0);
}

TEST(AudioChunkSize, WhatPasses31BitsIsNoSize) {
   EXPECT_EQ(AudioChunkSize(8000, 16, 1, 134217727), 2147483632) << "the largest";
   EXPECT_EQ(AudioChunkSize(8000, 16, 1, 134217728), 0);
   EXPECT_EQ(AudioChunkSize(48000, 16, 1, 134217727), 0);
   EXPECT_EQ(AudioChunkSize(2147483647, 16, 2, 1), 0);
   EXPECT_EQ(AudioChunkSize(2147483647, 2147483647, 2147483647, 2147483647), 0);
}

// ---- Cutting --------------------------------------------------------------------------------------------------------

// Writes down what it is told, and takes what it has room for.
class Taker {
public:
   explicit Taker(size_t chunkSize)
       : mChunkSize(chunkSize) {}

   size_t room = SIZE_MAX; ///< chunks that it still takes
   std::vector<std::string> calls;
   std::vector<std::string> chunks;

   void ChunkBegins() { calls.emplace_back("begins"); }
   bool Copy(const char **cursor, size_t bytes) {
      EXPECT_EQ(bytes, mChunkSize);
      calls.push_back("copy " + std::to_string(bytes));
      return Take(std::string(*cursor, bytes), cursor, bytes);
   }
   bool Copy(const char **cursor, size_t bytes, const char *cache, size_t cached) {
      EXPECT_EQ(bytes + cached, mChunkSize);
      calls.push_back("copy " + std::to_string(cached) + "+" + std::to_string(bytes));
      return Take(std::string(cache, cached) + std::string(*cursor, bytes), cursor, bytes);
   }
   void Taken() { calls.emplace_back("taken"); }
   void Dropped(uint32_t number) { calls.push_back("dropped " + std::to_string(number)); }

private:
   bool Take(std::string chunk, const char **cursor, size_t passed) {
      if (room == 0) {
         return false;
      }
      --room;
      chunks.push_back(std::move(chunk));
      *cursor += passed;
      return true;
   }

   const size_t mChunkSize;
};

class AudioChunkerTest : public testing::Test {
protected:
   AudioChunkerTest() { EXPECT_TRUE(chunker.SetUp(100)); }

   // Bytes that count on from delivery to delivery.
   void Deliver(size_t length) {
      taker.calls.clear();
      std::string delivery;
      for (size_t i = 0; i < length; ++i) {
         delivery.push_back(static_cast<char>(mNext++ % 251));
      }
      chunker.Cut(delivery.data(), delivery.size(), taker);
   }
   [[nodiscard]] static std::string Bytes(uint32_t from, size_t count) {
      std::string bytes;
      for (size_t i = 0; i < count; ++i) {
         bytes.push_back(static_cast<char>((from + i) % 251));
      }
      return bytes;
   }

   AudioChunker chunker;
   Taker taker{100};

private:
   uint32_t mNext = 0;
};

TEST_F(AudioChunkerTest, APartialChunkWaitsAndTheNextDeliveryClosesIt) {
   Deliver(40);
   EXPECT_THAT(taker.calls, ElementsAre("begins"));
   EXPECT_EQ(chunker.CachedSize(), 40U);
   Deliver(250);
   EXPECT_THAT(taker.calls, ElementsAre("copy 40+60", "taken", "copy 100", "taken"));
   EXPECT_THAT(taker.chunks, ElementsAre(Bytes(0, 100), Bytes(100, 100)));
   EXPECT_EQ(chunker.CachedSize(), 90U);
}

TEST_F(AudioChunkerTest, AnExactDeliveryIsOneChunkAndNothingIsKept) {
   Deliver(100);
   EXPECT_THAT(taker.calls, ElementsAre("begins", "copy 100", "taken"));
   EXPECT_EQ(chunker.CachedSize(), 0U);
}

TEST_F(AudioChunkerTest, ADeliveryThatFillsThePartialChunkLeavesNothing) {
   Deliver(40);
   Deliver(60);
   EXPECT_THAT(taker.calls, ElementsAre("copy 40+60", "taken"));
   EXPECT_THAT(taker.chunks, ElementsAre(Bytes(0, 100)));
   EXPECT_EQ(chunker.CachedSize(), 0U);
}

TEST_F(AudioChunkerTest, OneByteShortOfAChunkStaysAPartialOne) {
   Deliver(40);
   Deliver(59);
   EXPECT_THAT(taker.calls, IsEmpty());
   EXPECT_EQ(chunker.CachedSize(), 99U);
   Deliver(1);
   EXPECT_THAT(taker.chunks, ElementsAre(Bytes(0, 100)));
}

TEST_F(AudioChunkerTest, RequiredADeliveryOfNothingBeginsAChunkWhenNoneIsOpen) {
   chunker.Cut(nullptr, 0, taker);
   EXPECT_THAT(taker.calls, ElementsAre("begins"));
   Deliver(40);
   taker.calls.clear();
   chunker.Cut(nullptr, 0, taker);
   EXPECT_THAT(taker.calls, IsEmpty());
   EXPECT_EQ(chunker.CachedSize(), 40U);
}

TEST_F(AudioChunkerTest, RefusedChunksAreLostWholeAndCounted) {
   taker.room = 0;
   Deliver(300);
   EXPECT_THAT(taker.calls,
               ElementsAre("begins", "copy 100", "dropped 1", "copy 100", "dropped 2", "copy 100", "dropped 3"));
   EXPECT_EQ(chunker.CachedSize(), 0U);
   Deliver(150);
   EXPECT_THAT(taker.calls, ElementsAre("begins", "copy 100", "dropped 1"));
   taker.room = 1;
   Deliver(150);
   EXPECT_THAT(taker.calls, ElementsAre("copy 50+50", "taken", "copy 100", "dropped 2"));
   EXPECT_THAT(taker.chunks, ElementsAre(Bytes(400, 100))) << "time has gone on";
   Deliver(30);
   taker.room = 0;
   Deliver(80);
   EXPECT_THAT(taker.calls, ElementsAre("copy 30+70", "dropped 1"));
   EXPECT_EQ(chunker.CachedSize(), 10U);
}

TEST_F(AudioChunkerTest, ASetUpStartsOver) {
   Deliver(40);
   ASSERT_TRUE(chunker.SetUp(50));
   EXPECT_EQ(chunker.CachedSize(), 0U);
   EXPECT_EQ(chunker.ChunkSize(), 50U);
}

TEST_F(AudioChunkerTest, WithoutASizeEverythingIsDropped) {
   AudioChunker none;
   none.Cut("abc", 3, taker);
   EXPECT_THAT(taker.calls, ElementsAre("begins"));
   EXPECT_FALSE(none.SetUp(0));
   none.Cut("abc", 3, taker);
   EXPECT_EQ(none.CachedSize(), 0U);
}

TEST_F(AudioChunkerTest, NothingIsReadBeyondADelivery) {
   for (const size_t length : std::initializer_list<size_t>{1, 99, 100, 101, 199, 1000}) {
      const kit::GuardedMemory delivery(length);
      std::fill(delivery.Data(), delivery.Data() + length, uint8_t{7});
      chunker.Cut(reinterpret_cast<const char *>(delivery.Data()), length, taker);
   }
}

// ---- Against a model ------------------------------------------------------------------------------------------------

// The stream is what was delivered, one after the other; chunk n is its bytes from n * size on. A taker that has no
// room loses chunk n and no other.
TEST(AudioChunkerModel, RandomDeliveriesComeOutAsTheModelSays) {
   std::mt19937 random(20261121);
   for (int run = 0; run < 60; ++run) {
      const size_t size = std::uniform_int_distribution<size_t>(1, run % 2 == 0 ? 4000 : 60)(random);
      AudioChunker chunker;
      ASSERT_TRUE(chunker.SetUp(size));
      Taker taker(size);
      std::string stream;
      std::vector<std::string> expected;
      size_t chunk = 0;
      for (int delivery = 0; delivery < 40; ++delivery) {
         const size_t most = std::initializer_list<size_t>{100000, 2 * size, 3, 0}.begin()[random() % 4];
         std::string bytes(std::uniform_int_distribution<size_t>(0, most)(random), '\0');
         std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
         const size_t room = random() % 3 == 0 ? random() % 5 : SIZE_MAX;
         stream += bytes;
         const size_t before = chunk;
         for (; (chunk + 1) * size <= stream.size(); ++chunk) {
            if (chunk - before < room) {
               expected.push_back(stream.substr(chunk * size, size));
            }
         }
         taker.room = room;
         taker.calls.clear();
         chunker.Cut(bytes.data(), bytes.size(), taker);
         ASSERT_EQ(chunker.CachedSize(), stream.size() - chunk * size);
         ASSERT_EQ(static_cast<size_t>(std::count(taker.calls.begin(), taker.calls.end(), "taken")) +
                      static_cast<size_t>(std::count_if(taker.calls.begin(), taker.calls.end(),
                                                        [](const std::string &call) { return call[0] == 'd'; })),
                   chunk - before);
      }
      ASSERT_EQ(taker.chunks, expected) << "run " << run << ", chunks of " << size;
   }
}

} // namespace
