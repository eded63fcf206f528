#include "lib/log/LogRing.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <deque>
#include <random>
#include <string>

namespace {

LogLineHeader Header(const char *thread) {
   LogLineHeader header{};
   std::strcpy(header.threadName, thread);
   return header;
}

struct Popped {
   bool found;
   std::string thread;
   std::string text;
};

Popped Pop(LogRing *ring, size_t limit = 32768) {
   std::string text(std::max<size_t>(limit, 2) + 1, '#');
   LogLineHeader header{};
   size_t length = 0;
   const bool found = LogRing_Pop(ring, limit, &header, &length, text.data());
   EXPECT_EQ(text[std::max<size_t>(limit, 2)], '#') << "written behind the limit";
   return {found, header.threadName, found ? text.substr(0, length) : ""};
}

void Push(LogRing *ring, const std::string &text, const char *thread = "t") {
   LogRing_Push(ring, Header(thread), text.size(), text.data());
}

constexpr size_t kRecord = 2 + sizeof(LogLineHeader);

} // namespace

TEST(LogRing, GivesBackInOrderWhatWasPushed) {
   const LogRingOwner ring(LogRing_Create(kLogRingSize));
   Push(ring.get(), "first\n", "a");
   Push(ring.get(), "", "b");
   Popped record = Pop(ring.get());
   EXPECT_EQ(record.thread + ":" + record.text, "a:first\n");
   record = Pop(ring.get());
   EXPECT_TRUE(record.found);
   EXPECT_EQ(record.thread + ":" + record.text, "b:");
   EXPECT_FALSE(Pop(ring.get()).found);
}

TEST(LogRing, StoresALengthInHostOrderThenHeaderThenText) {
   const LogRingOwner ring(LogRing_Create(kLogRingSize));
   const LogLineHeader header = Header("x");
   LogRing_Push(ring.get(), header, 3, "abc");
   uint16_t length = 0;
   std::memcpy(&length, ring->base, 2);
   EXPECT_EQ(length, sizeof header + 3);
   EXPECT_EQ(std::memcmp(ring->base + 2, &header, sizeof header), 0);
   EXPECT_EQ(std::memcmp(ring->base + 2 + sizeof header, "abc", 3), 0);
   EXPECT_EQ(ring->used, kRecord + 3);
}

TEST(LogRing, StaysStrictlyLessThanFull) {
   const LogRingOwner ring(LogRing_Create(2 * (kRecord + 10)));
   Push(ring.get(), "0123456789");
   Push(ring.get(), "9876543210"); // both together would fill it to the last byte
   EXPECT_EQ(Pop(ring.get()).text, "9876543210");
   EXPECT_FALSE(Pop(ring.get()).found);
}

TEST(LogRing, DropsTheOldestRecordsForANewOne) {
   const LogRingOwner ring(LogRing_Create(4 * (kRecord + 1) + 1));
   for (const char *const text : {"1", "2", "3", "4", "5"}) {
      Push(ring.get(), text);
   }
   EXPECT_EQ(Pop(ring.get()).text, "2");
   Push(ring.get(), std::string(200, 'x'));
   EXPECT_EQ(Pop(ring.get()).text, "5") << "a long one takes the room of three";
}

TEST(LogRing, WrapsAtEveryByteOfARecord) {
   for (size_t offset = 1; offset < 2 * kRecord; ++offset) {
      const LogRingOwner ring(LogRing_Create(2 * kRecord + 11));
      ring->writePosition = ring->readPosition = offset;
      Push(ring.get(), "0123456789", "wrapped");
      const Popped record = Pop(ring.get());
      ASSERT_EQ(record.thread + ":" + record.text, "wrapped:0123456789") << offset;
   }
}

TEST(LogRing, HoldsTheLargestTextOfAMessage) {
   const LogRingOwner ring(LogRing_Create(kLogRingSize));
   const std::string text(32767, 'x');
   Push(ring.get(), text);
   EXPECT_EQ(Pop(ring.get()).text, text);
}

TEST(LogRing, CutsATextThatNoLengthFieldCanSay) {
   const LogRingOwner ring(LogRing_Create(200000));
   Push(ring.get(), std::string(70000, 'x'));
   Push(ring.get(), "behind");
   EXPECT_EQ(Pop(ring.get(), 70000).text, std::string(65535 - kRecord, 'x'));
   EXPECT_EQ(Pop(ring.get()).text, "behind");
}

TEST(LogRing, IgnoresEverythingWhenTooSmallForAHeader) {
   for (const size_t size : {size_t{1}, kRecord, kRecord + 1}) {
      const LogRingOwner ring(LogRing_Create(size));
      Push(ring.get(), "text");
      EXPECT_EQ(Pop(ring.get()).text, "");
   }
}

TEST(LogRing, CutsALongTextOnTheWayOut) {
   const LogRingOwner ring(LogRing_Create(kLogRingSize));
   Push(ring.get(), "0123456789");
   Push(ring.get(), "next");
   EXPECT_EQ(Pop(ring.get(), 10).text, "01234567\n") << "as long as the limit is too long";
   Push(ring.get(), "0123456789");
   EXPECT_EQ(Pop(ring.get()).text, "next");
   EXPECT_EQ(Pop(ring.get(), 11).text, "0123456789");
}

TEST(LogRing, SkipsAHeaderThatNobodyWants) {
   const LogRingOwner ring(LogRing_Create(kLogRingSize));
   Push(ring.get(), "text");
   std::array<char, 16> text{};
   size_t length = 0;
   EXPECT_TRUE(LogRing_Pop(ring.get(), text.size(), nullptr, &length, text.data()));
   EXPECT_STREQ(text.data(), "text");
}

TEST(LogRing, ForgetsEverythingOnReset) {
   const LogRingOwner ring(LogRing_Create(kLogRingSize));
   Push(ring.get(), "text");
   LogRing_Reset(ring.get());
   EXPECT_EQ(ring->used, 0U);
   EXPECT_FALSE(Pop(ring.get()).found);
}

TEST(LogRing, EqualsAQueueThatForgetsItsOldest) {
   constexpr size_t kSize = 1500;
   const LogRingOwner ring(LogRing_Create(kSize));
   std::deque<std::string> model;
   size_t used = 0;
   std::mt19937 random(3);
   for (int round = 0; round < 50000; ++round) {
      if (random() % 3 != 0) {
         const std::string text(random() % 600, static_cast<char>('a' + round % 26));
         while (used > 0 && text.size() + kRecord >= kSize - used) {
            used -= model.front().size() + kRecord;
            model.pop_front();
         }
         model.push_back(text);
         used += text.size() + kRecord;
         Push(ring.get(), text);
      } else {
         const Popped record = Pop(ring.get());
         ASSERT_EQ(record.found, !model.empty());
         if (record.found) {
            ASSERT_EQ(record.text, model.front());
            used -= model.front().size() + kRecord;
            model.pop_front();
         }
      }
      ASSERT_EQ(ring->used, used);
   }
}
