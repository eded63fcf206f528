#include "lib/mfw/messageframework/bytecursor.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>

namespace CORE {
namespace {

class ByteCursor : public ::testing::Test {
protected:
   ByteCursor() { cursor.Init(buffer.data(), static_cast<uint32_t>(buffer.size())); }

   std::array<uint8_t, 8> buffer{};
   bytecursor cursor;
   uint32_t left = 0;
   kit::LogCapture log;
};

TEST_F(ByteCursor, InitStartsAnewAndKeepsTheCount) {
   ASSERT_TRUE(cursor.Advance(3, 2));
   cursor.Init(buffer.data() + 1, 5);
   EXPECT_EQ(cursor.mData, buffer.data() + 1);
   EXPECT_EQ(cursor.mTotal, 5U);
   EXPECT_EQ(cursor.GetConsumed(), 0U);
   EXPECT_EQ(cursor.mCount, 2U);
}

TEST_F(ByteCursor, WritesBytesOneBehindTheOther) {
   EXPECT_TRUE(cursor.Write("ab", 2));
   EXPECT_TRUE(cursor.WriteCounted("cdef", 4, 3));
   EXPECT_EQ(cursor.GetConsumed(), 6U);
   EXPECT_EQ(cursor.mCount, 3U);
   EXPECT_EQ(buffer, (std::array<uint8_t, 8>{'a', 'b', 'c', 'd', 'e', 'f', 0, 0}));
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(ByteCursor, WritesUpToTheLastByteAndNotBeyond) {
   EXPECT_TRUE(cursor.CheckWrite("12345678", 8));
   EXPECT_FALSE(cursor.CheckWrite("123456789", 9));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer left, total=%ld, consumed=%ld, required=%ld", 8L, 0L, 9L))
      << log.Dump();
   EXPECT_TRUE(cursor.Write("12345678", 8));
   EXPECT_FALSE(cursor.Write("9", 1));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer left, total=%ld, consumed=%ld, required=%ld", 8L, 8L, 1L))
      << log.Dump();
   EXPECT_EQ(cursor.GetConsumed(), 8U);
   EXPECT_EQ(log.Lines().size(), 2U);
}

TEST_F(ByteCursor, RefusesToWriteNothing) {
   EXPECT_FALSE(cursor.CheckWrite(nullptr, 1));
   EXPECT_FALSE(cursor.CheckWrite("a", 0));
   EXPECT_FALSE(cursor.Write(nullptr, 1));
   EXPECT_FALSE(cursor.WriteCounted("a", 0, 1));
   EXPECT_EQ(log.Count(logger::ERROR, "Invalid input buffer"), 4) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 4U);
   EXPECT_EQ(cursor.GetConsumed(), 0U);
   EXPECT_EQ(cursor.mCount, 0U);
}

TEST_F(ByteCursor, WritesFromItsOwnBuffer) {
   ASSERT_TRUE(cursor.Write("abcd", 4));
   cursor.Init(buffer.data() + 1, 7);
   EXPECT_TRUE(cursor.Write(buffer.data(), 4));
   EXPECT_EQ(buffer, (std::array<uint8_t, 8>{'a', 'a', 'b', 'c', 'd', 0, 0, 0}));
}

TEST_F(ByteCursor, ReadsMoveAndCount) {
   EXPECT_EQ(cursor.Peek(8), buffer.data());
   EXPECT_TRUE(cursor.Advance(2, 1));
   EXPECT_TRUE(cursor.Skip(3));
   EXPECT_EQ(cursor.Peek(3), buffer.data() + 5);
   EXPECT_EQ(cursor.GetConsumed(), 5U);
   EXPECT_EQ(cursor.mCount, 1U);
   EXPECT_TRUE(cursor.CheckRead(3));
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(ByteCursor, RefusesToReadNothing) {
   EXPECT_FALSE(cursor.CheckRead(0));
   EXPECT_FALSE(cursor.Advance(0, 1));
   EXPECT_EQ(cursor.Peek(0), nullptr);
   EXPECT_FALSE(cursor.Skip(0));
   EXPECT_EQ(log.Count(logger::ERROR, "Invalid source length"), 4) << log.Dump();
   EXPECT_EQ(cursor.mCount, 0U);
}

TEST_F(ByteCursor, RefusesToReadBeyondTheEndAndStays) {
   ASSERT_TRUE(cursor.Skip(6));
   EXPECT_FALSE(cursor.CheckRead(3));
   EXPECT_FALSE(cursor.Advance(3, 3));
   EXPECT_EQ(cursor.Peek(3), nullptr);
   EXPECT_FALSE(cursor.Skip(3));
   EXPECT_EQ(log.Count(logger::ERROR, "Not enough buffer left, total=%ld, consumed=%ld, required=%ld", 8L, 6L, 3L), 4)
      << log.Dump();
   EXPECT_EQ(cursor.GetConsumed(), 6U);
   EXPECT_EQ(cursor.mCount, 0U);
}

TEST_F(ByteCursor, SaysWhatRemains) {
   EXPECT_EQ(cursor.GetRemaining(left), buffer.data());
   EXPECT_EQ(left, 8U);
   ASSERT_TRUE(cursor.Skip(7));
   EXPECT_EQ(cursor.GetRemaining(left), buffer.data() + 7);
   EXPECT_EQ(left, 1U);
   ASSERT_TRUE(cursor.Skip(1));
   EXPECT_EQ(cursor.GetRemaining(left), nullptr);
   EXPECT_EQ(left, 0U);
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(ByteCursor, HasNothingLeftWhenConsumedLiesBeyondTotal) {
   cursor.mConsumed = UINT32_MAX;
   EXPECT_EQ(cursor.GetRemaining(left), nullptr);
   EXPECT_EQ(left, 0U);
   EXPECT_FALSE(cursor.Write("a", 1));
   EXPECT_EQ(cursor.Peek(1), nullptr);
   EXPECT_FALSE(cursor.Advance(UINT32_MAX, 1));
   EXPECT_EQ(cursor.mConsumed, UINT32_MAX);
   EXPECT_EQ(log.Count(logger::ERROR, "Not enough buffer left, total=%ld, consumed=%ld, required=%ld", 8L,
                       static_cast<long>(UINT32_MAX), 1L),
             2)
      << log.Dump();
}

TEST_F(ByteCursor, NoSumOfSizesWraps) {
   ASSERT_TRUE(cursor.Skip(4));
   EXPECT_FALSE(cursor.Skip(UINT32_MAX));
   EXPECT_FALSE(cursor.Skip(size_t{UINT32_MAX} + 2));
   EXPECT_FALSE(cursor.CheckWrite("a", size_t{UINT32_MAX} + 2));
   EXPECT_EQ(cursor.GetConsumed(), 4U);
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer left, total=%ld, consumed=%ld, required=%ld", 8L, 4L,
                       static_cast<long>(UINT32_MAX) + 2))
      << log.Dump();
}

TEST_F(ByteCursor, ReachesTheLastOfAllBytes) {
   cursor.mTotal = UINT32_MAX; // nothing of it is touched here
   EXPECT_TRUE(cursor.Skip(UINT32_MAX));
   EXPECT_EQ(cursor.GetConsumed(), UINT32_MAX);
   EXPECT_FALSE(cursor.Skip(1));
}

TEST_F(ByteCursor, HasNothingLeftWithoutABuffer) {
   cursor.Init(nullptr, 8);
   EXPECT_EQ(cursor.GetRemaining(left), nullptr);
   EXPECT_FALSE(cursor.Write("a", 1));
   EXPECT_EQ(cursor.Peek(1), nullptr);
   EXPECT_FALSE(cursor.Advance(1, 1));
   EXPECT_EQ(cursor.GetConsumed(), 0U);
   EXPECT_EQ(log.Count(logger::ERROR, "Not enough buffer left, total=%ld, consumed=%ld, required=%ld", 8L, 0L, 1L), 3)
      << log.Dump();
}

TEST_F(ByteCursor, FormatsNothingThatNobodyWants) {
   logger::SetDropBelow(logger::FATAL);
   EXPECT_FALSE(cursor.Write(nullptr, 1));
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

} // namespace
} // namespace CORE
