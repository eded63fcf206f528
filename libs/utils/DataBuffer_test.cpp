#include "libs/utils/DataBuffer.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::string Text(const DataBuffer &buffer) {
   return {buffer.GetData(), buffer.GetEnd()};
}

bool Put(DataBuffer &buffer, std::string_view text) {
   return buffer.Set(text.data(), static_cast<int32_t>(text.size()));
}

bool Add(DataBuffer &buffer, std::string_view text, bool grow) {
   return buffer.Append(text.data(), static_cast<int32_t>(text.size()), grow);
}

// capacity, allocated, length, unread
std::vector<int32_t> Sizes(const DataBuffer &buffer) {
   return {buffer.GetCapacity(), buffer.GetAllocated(), buffer.GetLength(), buffer.GetUnread()};
}

using S = std::vector<int32_t>;

TEST(DataBuffer, ANewOneIsEmpty) {
   DataBuffer buffer;
   EXPECT_EQ(buffer.GetData(), nullptr);
   EXPECT_EQ(buffer.GetEnd(), nullptr);
   EXPECT_EQ(Sizes(buffer), (S{0, 0, 0, 0}));
   EXPECT_EQ(buffer.GetFreeSpace(), 0);
   EXPECT_FALSE(buffer.HasUnread());
   EXPECT_EQ(buffer.Consume(1), nullptr);
   EXPECT_EQ(buffer.Marks()[0], 0U);
   EXPECT_EQ(buffer.Marks()[1], 0U);
}

TEST(DataBuffer, CreateGivesZeroedMemoryWithAReserveThatDoesNotCount) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(4, 2));
   EXPECT_EQ(Sizes(buffer), (S{4, 6, 0, 0}));
   for (int i = 0; i < 6; ++i) {
      EXPECT_EQ(buffer.GetData()[i], 0);
   }
   ASSERT_TRUE(Put(buffer, "abcd"));
   ASSERT_TRUE(buffer.Create(2, 0)); // the old memory goes; the leak sanitizer looks
   EXPECT_EQ(buffer.GetCapacity(), 2);
   EXPECT_LE(buffer.GetLength(), 2);
   ASSERT_NE(buffer.Consume(2), nullptr);
   ASSERT_TRUE(buffer.Create(1, 0));
   EXPECT_EQ(Sizes(buffer), (S{1, 1, 1, 0})) << "length and what was read of it are cut";
   ASSERT_TRUE(buffer.Create(0, 0));
   EXPECT_EQ(Sizes(buffer), (S{0, 0, 0, 0}));
   EXPECT_NE(buffer.GetData(), nullptr);
}

TEST(DataBuffer, RequiredResizeKeepsTheLengthEvenAboveTheCapacity) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(4, 0));
   ASSERT_TRUE(Put(buffer, "abcd"));
   ASSERT_TRUE(buffer.Resize(8, 1));
   EXPECT_EQ(Sizes(buffer), (S{8, 9, 4, 4}));
   EXPECT_EQ(Text(buffer), "abcd");
   ASSERT_TRUE(buffer.Resize(2, 0));
   EXPECT_EQ(Sizes(buffer), (S{2, 2, 4, 4}));
   // Nobody reads what is not there.
   DataBuffer other;
   ASSERT_TRUE(other.Create(10, 0));
   EXPECT_EQ(buffer.Consume(4), nullptr);
   EXPECT_NE(buffer.Consume(2), nullptr);
   EXPECT_FALSE(other.Append(buffer, true));
   EXPECT_FALSE(other.Adopt(buffer, false));
   EXPECT_FALSE(other.CopyFrom(buffer));
   EXPECT_FALSE(Add(buffer, "x", true));
   EXPECT_FALSE(buffer.Reserve(1));
   EXPECT_FALSE(buffer.EnsureRoom(1));
}

TEST(DataBuffer, ResizeLeavesACallersMemoryAlone) {
   uint8_t mine[] = {'x', 'y', 'z'};
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Attach(mine, 3));
   ASSERT_TRUE(buffer.Resize(5, 0));
   EXPECT_NE(buffer.GetData(), mine);
   EXPECT_EQ(Text(buffer), "xyz");
}

TEST(DataBuffer, PrepareMakesItEmptyAndGrowsOnlyWhenItMust) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(4, 3));
   ASSERT_TRUE(Put(buffer, "abcd"));
   EXPECT_NE(buffer.Consume(2), nullptr);
   const uint8_t *const data = buffer.GetData();
   ASSERT_TRUE(buffer.Prepare(4));
   EXPECT_EQ(Sizes(buffer), (S{4, 7, 0, 0}));
   EXPECT_EQ(buffer.GetData(), data);
   ASSERT_TRUE(buffer.Prepare(5));
   EXPECT_EQ(Sizes(buffer), (S{5, 8, 0, 0}));
   EXPECT_EQ(buffer.GetData()[4], 0);
   EXPECT_TRUE(buffer.Prepare(-1));
   EXPECT_EQ(buffer.GetCapacity(), 5);
}

TEST(DataBuffer, PrepareThatCannotBeLeavesNoMemory) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(4, 3));
   ASSERT_TRUE(Put(buffer, "abcd"));
   EXPECT_FALSE(buffer.Prepare(INT_MAX)); // with the reserve more than 32 bits hold
   EXPECT_EQ(buffer.GetData(), nullptr);
   EXPECT_EQ(Sizes(buffer), (S{0, 3, 0, 0}));
   EXPECT_TRUE(buffer.Prepare(4));
}

TEST(DataBuffer, RequiredReserveAndEnsureRoomCountTheReserveIntoTheCapacity) {
   for (const bool byRealloc : {true, false}) {
      DataBuffer buffer;
      const auto room = [&](int32_t extra) {
         return byRealloc ? buffer.Reserve(extra) : buffer.EnsureRoom(extra);
      };
      ASSERT_TRUE(buffer.Create(4, 2));
      ASSERT_TRUE(Put(buffer, "abc"));
      const uint8_t *const data = buffer.GetData();
      EXPECT_TRUE(room(1));
      EXPECT_EQ(buffer.GetData(), data);
      EXPECT_TRUE(room(-3));
      EXPECT_EQ(Sizes(buffer), (S{4, 6, 3, 3}));
      EXPECT_TRUE(room(3));
      EXPECT_EQ(Sizes(buffer), (S{8, 10, 3, 3}));
      EXPECT_EQ(Text(buffer), "abc");
      EXPECT_FALSE(room(INT_MAX));
      EXPECT_EQ(Sizes(buffer), (S{8, 10, 3, 3}));
   }
}

TEST(DataBuffer, SetTakesAFirstPieceWithoutBytes) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(2, 0));
   EXPECT_TRUE(buffer.Set("", 0, "ab", 2));
   EXPECT_EQ(Text(buffer), "ab");
}

TEST(DataBuffer, EnsureRoomZeroesWhatIsNew) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(2, 0));
   ASSERT_TRUE(Put(buffer, "ab"));
   ASSERT_TRUE(buffer.EnsureRoom(3));
   EXPECT_EQ(std::string(buffer.GetData(), buffer.GetData() + 5), std::string("ab\0\0\0", 5));
}

TEST(DataBuffer, EnsureRoomAndReserveOwnTheirBlockAfterACallersMemory) {
   uint8_t mine[] = {'x', 'y'};
   for (const bool byRealloc : {true, false}) {
      DataBuffer buffer;
      ASSERT_TRUE(buffer.Attach(mine, 2));
      ASSERT_TRUE(byRealloc ? buffer.Reserve(1) : buffer.EnsureRoom(1));
      EXPECT_NE(buffer.GetData(), mine);
      EXPECT_EQ(Text(buffer), "xy");
   } // frees its block, not `mine`: the address sanitizer looks
}

TEST(DataBuffer, ABlockOfItsOwnGrowsWithItsReserveAndACallersWithoutAny) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(2, 2));
   ASSERT_TRUE(Put(buffer, "ab"));
   buffer.GetData()[3] = 'r';
   ASSERT_TRUE(buffer.EnsureRoom(3));
   EXPECT_EQ(std::string(buffer.GetData(), buffer.GetData() + 9), std::string("ab\0r\0\0\0\0\0", 9));
   uint8_t mine[] = {'a', 'b', 'c', 'X', 'Y'};
   ASSERT_TRUE(buffer.Attach(mine, 3)); // the rest is not lent
   ASSERT_TRUE(buffer.EnsureRoom(2));
   EXPECT_EQ(std::string(buffer.GetData(), buffer.GetData() + 9), std::string("abc\0\0\0\0\0\0", 9));
}

TEST(DataBuffer, RequiredFreeKeepsReserveLengthAndOffsetAndReleaseZeroesAll) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(4, 2));
   ASSERT_TRUE(Put(buffer, "abcd"));
   EXPECT_NE(buffer.Consume(1), nullptr);
   buffer.Free();
   EXPECT_EQ(buffer.GetData(), nullptr);
   EXPECT_EQ(Sizes(buffer), (S{0, 2, 4, 3}));
   EXPECT_EQ(buffer.GetEnd(), nullptr);
   EXPECT_EQ(buffer.Consume(1), nullptr);
   buffer.Release();
   EXPECT_EQ(Sizes(buffer), (S{0, 0, 0, 0}));
}

TEST(DataBuffer, SetCopiesWhatFitsAndChangesNothingOtherwise) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(4, 10));
   ASSERT_TRUE(Put(buffer, "abcd"));
   EXPECT_NE(buffer.Consume(1), nullptr);
   EXPECT_FALSE(Put(buffer, "12345")); // the reserve is no room
   EXPECT_FALSE(buffer.Set(nullptr, 1));
   EXPECT_FALSE(buffer.Set("x", -1));
   EXPECT_EQ(Text(buffer), "abcd");
   EXPECT_EQ(buffer.GetUnread(), 3);
   EXPECT_TRUE(buffer.Set(buffer.GetData() + 1, 3)); // its own bytes
   EXPECT_EQ(Text(buffer), "bcd");
   EXPECT_EQ(buffer.GetUnread(), 3);
   EXPECT_TRUE(buffer.Set(nullptr, 0));
   EXPECT_EQ(Sizes(buffer), (S{4, 14, 0, 0}));
}

TEST(DataBuffer, SetOfTwoPiecesIsAllOrNothing) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(5, 0));
   EXPECT_TRUE(buffer.Set("ab", 2, "cde", 3));
   EXPECT_EQ(Text(buffer), "abcde");
   EXPECT_FALSE(buffer.Set("123", 3, "456", 3));
   EXPECT_FALSE(buffer.Set("1", 1, nullptr, 1));
   EXPECT_FALSE(buffer.Set("1", 1, "2", -1));
   EXPECT_FALSE(buffer.Set("1", INT_MAX, "2", INT_MAX));
   EXPECT_EQ(Text(buffer), "abcde");
   EXPECT_FALSE(buffer.Set("1", -1, "2", 1));
   EXPECT_FALSE(buffer.Set(nullptr, 1, "2", 1));
   EXPECT_EQ(Text(buffer), "abcde");
   EXPECT_TRUE(buffer.Set("x", 1, nullptr, 0));
   EXPECT_EQ(Text(buffer), "x");
}

TEST(DataBuffer, ACapacityWithoutMemoryTakesNothing) {
   uint8_t mine[] = {'x', 'y'};
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Attach(mine, 2));
   buffer.Reset(); // forgets the caller's memory, not its size
   ASSERT_EQ(buffer.GetCapacity(), 2);
   EXPECT_FALSE(buffer.Set("a", 1));
   EXPECT_FALSE(buffer.Set(nullptr, 0, "a", 1));
   EXPECT_FALSE(buffer.Set("a", 1, "b", 1));
   EXPECT_FALSE(Add(buffer, "a", false));
   EXPECT_TRUE(buffer.Append("a", 0, true)) << "nothing needs no memory";
   EXPECT_EQ(buffer.GetData(), nullptr);
   EXPECT_TRUE(Add(buffer, "a", true));
   EXPECT_EQ(Text(buffer), "a");
}

TEST(DataBuffer, AppendOfAnotherBufferRefusesWhatDoesNotFit) {
   DataBuffer buffer;
   DataBuffer other;
   ASSERT_TRUE(buffer.Create(4, 0));
   ASSERT_TRUE(Add(buffer, "abc", false));
   ASSERT_TRUE(Add(other, "de", true));
   EXPECT_FALSE(buffer.Append(other, false));
   EXPECT_EQ(Text(buffer), "abc");
   EXPECT_TRUE(buffer.Append(other, true));
   EXPECT_EQ(Text(buffer), "abcde");
}

TEST(DataBuffer, AppendGrowsToTheExactSizeOrRefuses) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(4, 3));
   EXPECT_TRUE(Add(buffer, "ab", false));
   EXPECT_TRUE(Add(buffer, "cd", false));
   EXPECT_FALSE(Add(buffer, "e", false));
   EXPECT_EQ(Text(buffer), "abcd");
   EXPECT_TRUE(Add(buffer, "ef", true));
   EXPECT_EQ(Text(buffer), "abcdef");
   EXPECT_EQ(Sizes(buffer), (S{6, 9, 6, 6}));
   EXPECT_FALSE(buffer.Append("x", INT_MAX, true));
   EXPECT_FALSE(buffer.Append("x", -1, true));
   EXPECT_FALSE(buffer.Append(nullptr, 1, true));
   EXPECT_TRUE(buffer.Append(nullptr, 0, true));
   EXPECT_EQ(Text(buffer), "abcdef");
}

TEST(DataBuffer, AppendMayTakeItsOwnBytes) {
   DataBuffer buffer;
   ASSERT_TRUE(Add(buffer, "abc", true));
   ASSERT_TRUE(buffer.Append(buffer, true)); // the block moves under them
   EXPECT_EQ(Text(buffer), "abcabc");
   ASSERT_TRUE(buffer.Append(buffer.GetData() + 4, 2, true));
   EXPECT_EQ(Text(buffer), "abcabcbc");
   EXPECT_FALSE(buffer.Append(buffer.GetData() + 4, 100, true));

   DataBuffer full;
   ASSERT_TRUE(full.Create(8, 0));
   ASSERT_TRUE(Put(full, "abcdefgh"));
   EXPECT_FALSE(full.Append(full.GetData() + 4, 5, true)) << "the fifth byte is behind the block";
   EXPECT_TRUE(full.Append(full.GetData() + 4, 4, true));
   EXPECT_EQ(Text(full), "abcdefghefgh");
}

TEST(DataBuffer, AttachPointsAtTheCallersMemoryAndDoesNotFreeIt) {
   uint8_t mine[] = {'x', 'y'};
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(4, 0));
   ASSERT_TRUE(Put(buffer, "abcd"));
   EXPECT_NE(buffer.Consume(3), nullptr);
   EXPECT_FALSE(buffer.Attach(buffer.GetData() + 1, 2)); // would point at what it frees
   ASSERT_TRUE(buffer.Attach(mine, 2));
   EXPECT_EQ(buffer.GetData(), mine);
   EXPECT_EQ(Sizes(buffer), (S{2, 2, 2, 2}));
   EXPECT_FALSE(buffer.Attach(nullptr, 1));
   EXPECT_FALSE(buffer.Attach(mine, -1));
   EXPECT_TRUE(buffer.Attach(mine, 1));
   buffer.Release();
   EXPECT_TRUE(buffer.Attach(nullptr, 0));
}

TEST(DataBuffer, AdoptByMoveTakesAllAndLeavesTheOtherEmpty) {
   DataBuffer from;
   DataBuffer to;
   ASSERT_TRUE(from.Create(4, 2));
   ASSERT_TRUE(Put(from, "abc"));
   EXPECT_NE(from.Consume(1), nullptr);
   ASSERT_TRUE(to.Create(9, 9));
   const uint8_t *const data = from.GetData();
   ASSERT_TRUE(to.Adopt(from, true));
   EXPECT_EQ(to.GetData(), data);
   EXPECT_EQ(Sizes(to), (S{4, 6, 3, 3}));
   EXPECT_EQ(from.GetData(), nullptr);
   EXPECT_EQ(Sizes(from), (S{0, 0, 0, 0}));
   ASSERT_TRUE(to.Adopt(to, true));
   EXPECT_EQ(Text(to), "abc");
}

TEST(DataBuffer, AdoptByMoveDoesNotOwnWhatWasACallers) {
   uint8_t mine[] = {'x'};
   DataBuffer from;
   DataBuffer to;
   ASSERT_TRUE(from.Attach(mine, 1));
   ASSERT_TRUE(to.Adopt(from, true));
   EXPECT_EQ(to.GetData(), mine);
} // the address sanitizer sees a free of `mine`

TEST(DataBuffer, AdoptByCopyNeedsTheCapacity) {
   DataBuffer from;
   DataBuffer to;
   ASSERT_TRUE(Add(from, "abc", true));
   EXPECT_FALSE(to.Adopt(from, false));
   ASSERT_TRUE(to.Create(3, 0));
   EXPECT_TRUE(to.Adopt(from, false));
   EXPECT_EQ(Text(to), "abc");
   EXPECT_EQ(Text(from), "abc");
}

TEST(DataBuffer, RequiredCopyFromSetsTheCapacityAndNotTheLength) {
   DataBuffer from;
   DataBuffer to;
   ASSERT_TRUE(Add(from, "abc", true));
   EXPECT_FALSE(to.CopyFrom(from));
   ASSERT_TRUE(to.Create(5, 1));
   ASSERT_TRUE(to.CopyFrom(from));
   EXPECT_EQ(Sizes(to), (S{3, 4, 0, 0}));
   EXPECT_EQ(std::string(to.GetData(), to.GetData() + 3), "abc");
   ASSERT_TRUE(to.Create(5, 0));
   ASSERT_TRUE(Put(to, "12345"));
   ASSERT_TRUE(to.CopyFrom(from));
   EXPECT_EQ(Text(to), "abc"); // a length above the capacity is cut
   ASSERT_TRUE(to.Create(5, 0));
   ASSERT_TRUE(Put(to, "12345"));
   ASSERT_NE(to.Consume(4), nullptr);
   ASSERT_TRUE(to.CopyFrom(from));
   EXPECT_EQ(to.GetUnread(), 0) << "and what was read of it with it";
   to.SetLength(0);
   ASSERT_TRUE(to.CopyFrom(from));
   EXPECT_EQ(to.GetUnread(), 0);
}

TEST(DataBuffer, RequiredResetLeavesLengthAndOffsetWhereCapacityOrLengthIsZero) {
   DataBuffer buffer;
   buffer.Marks() = {7, 8};
   buffer.SetLength(5);
   buffer.Reset();
   EXPECT_EQ(buffer.GetLength(), 5);
   EXPECT_EQ(buffer.Marks()[0], 7U);
   EXPECT_EQ(buffer.Marks()[1], 0U);
   buffer.SetLength(0);
   ASSERT_TRUE(buffer.Create(4, 0));
   ASSERT_TRUE(Put(buffer, "abcd"));
   EXPECT_NE(buffer.Consume(2), nullptr);
   buffer.Reset();
   EXPECT_EQ(Sizes(buffer), (S{4, 4, 0, 0}));
   EXPECT_NE(buffer.GetData(), nullptr);
}

TEST(DataBuffer, ResetForgetsACallersMemoryAndPrepareFindsNewOne) {
   uint8_t mine[] = {'x', 'y', 'z'};
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Attach(mine, 3));
   buffer.Reset();
   EXPECT_EQ(buffer.GetData(), nullptr);
   EXPECT_EQ(buffer.GetCapacity(), 3); // required
   EXPECT_FALSE(Put(buffer, "a"));     // there is no memory behind it
   ASSERT_TRUE(Add(buffer, "a", true));
   buffer.Release();
   ASSERT_TRUE(buffer.Attach(mine, 3));
   buffer.Reset();
   ASSERT_TRUE(buffer.Prepare(2));
   EXPECT_TRUE(Put(buffer, "ab"));
   EXPECT_EQ(mine[0], 'x');
}

TEST(DataBuffer, ConsumeGivesWhatIsUnreadAndNoMore) {
   DataBuffer buffer;
   ASSERT_TRUE(Add(buffer, "abcde", true));
   EXPECT_EQ(buffer.Consume(0), nullptr);
   EXPECT_EQ(buffer.Consume(-1), nullptr);
   EXPECT_EQ(buffer.Consume(2), buffer.GetData());
   EXPECT_EQ(buffer.Consume(4), nullptr);
   EXPECT_EQ(buffer.Consume(INT_MAX), nullptr);
   EXPECT_EQ(buffer.GetUnread(), 3);
   EXPECT_EQ(buffer.Consume(3), buffer.GetData() + 2);
   EXPECT_FALSE(buffer.HasUnread());
   buffer.Rewind();
   EXPECT_EQ(buffer.GetUnread(), 5);
}

TEST(DataBuffer, RequiredSetLengthDoesNoCheckAndNothingOverflows) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(4, 0));
   buffer.SetLength(INT_MIN);
   EXPECT_EQ(buffer.GetLength(), INT_MIN);
   EXPECT_EQ(buffer.GetFreeSpace(), INT_MAX);
   EXPECT_EQ(buffer.GetUnread(), INT_MIN);
   buffer.AddLength(-1);
   EXPECT_EQ(buffer.GetLength(), INT_MIN);
   EXPECT_FALSE(Add(buffer, "x", true));
   EXPECT_EQ(buffer.Consume(1), nullptr);
   EXPECT_TRUE(buffer.Reserve(INT_MAX));
   buffer.SetLength(INT_MAX);
   buffer.AddLength(1);
   EXPECT_EQ(buffer.GetLength(), INT_MAX);
   EXPECT_FALSE(buffer.Reserve(INT_MAX));
   EXPECT_EQ(buffer.Consume(5), nullptr);
   EXPECT_FALSE(Add(buffer, "x", true));
   EXPECT_EQ(buffer.GetCapacity(), 4);
}

TEST(DataBuffer, SizesThatAreNegativeOrTooLargeAreRefused) {
   DataBuffer buffer;
   EXPECT_FALSE(buffer.Create(-1, 0));
   EXPECT_FALSE(buffer.Create(0, -1));
   EXPECT_FALSE(buffer.Create(INT_MAX, 1));
   EXPECT_FALSE(buffer.Resize(-1, 5));
   EXPECT_FALSE(buffer.Resize(1, INT_MAX));
   EXPECT_EQ(buffer.GetData(), nullptr);
   ASSERT_TRUE(buffer.Create(3, 0));
   EXPECT_EQ(*buffer.LengthField(), 0);
   *buffer.LengthField() = 2;
   EXPECT_EQ(buffer.GetLength(), 2);
}

} // namespace
