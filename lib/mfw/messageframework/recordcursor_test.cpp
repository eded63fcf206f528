#include "lib/mfw/messageframework/recordcursor.h"

#include <gtest/gtest.h>

#include <array>

namespace CORE {
namespace {

class RecordCursor : public ::testing::Test {
protected:
   std::array<uint8_t, 18> table{};
   recordcursor cursor;
};

TEST_F(RecordCursor, StepsFromRecordToRecord) {
   cursor.Init(table.data(), 18);
   EXPECT_EQ(cursor.Current(), table.data());
   EXPECT_EQ(cursor.Next(), table.data() + 6);
   EXPECT_EQ(cursor.mIndex, 1U);
   EXPECT_EQ(cursor.Current(), table.data() + 6);
   EXPECT_EQ(cursor.Next(), table.data() + 12);
   EXPECT_EQ(cursor.Next(), nullptr);
   EXPECT_EQ(cursor.Current(), nullptr);
}

TEST_F(RecordCursor, SkipsAsManyRecordsAsThereAre) {
   cursor.Init(table.data(), 18);
   EXPECT_TRUE(cursor.Skip());
   EXPECT_TRUE(cursor.Skip());
   EXPECT_TRUE(cursor.Skip());
   EXPECT_FALSE(cursor.Skip());
   EXPECT_EQ(cursor.Current(), nullptr);
}

TEST_F(RecordCursor, PassesOverAnIncompleteRecordAtTheEnd) {
   for (const uint32_t total : {12U, 13U, 17U}) {
      cursor.Init(table.data(), total);
      EXPECT_TRUE(cursor.Skip());
      EXPECT_EQ(cursor.Current(), table.data() + 6);
      EXPECT_EQ(cursor.Next(), nullptr) << total;
   }
   cursor.Init(table.data(), 5);
   EXPECT_EQ(cursor.Current(), nullptr);
}

TEST_F(RecordCursor, InitStartsAnewAndKeepsTheCount) {
   cursor.mCount = 7;
   cursor.mIndex = 2;
   cursor.Init(table.data(), 6);
   EXPECT_EQ(cursor.mIndex, 0U);
   EXPECT_EQ(cursor.mCount, 7U);
}

TEST_F(RecordCursor, StaysAtTheEndHoweverOftenItIsMoved) {
   cursor.Init(table.data(), 6);
   for (int times = 0; times < 3; ++times) {
      EXPECT_EQ(cursor.Next(), nullptr);
   }
   EXPECT_EQ(cursor.mIndex, 1U);
}

TEST_F(RecordCursor, HasNoRecordAtAWildIndexOrWithoutATable) {
   cursor.Init(table.data(), 18);
   cursor.mIndex = UINT32_MAX;
   EXPECT_EQ(cursor.Current(), nullptr);
   EXPECT_EQ(cursor.Next(), nullptr);
   EXPECT_FALSE(cursor.Skip());
   EXPECT_EQ(cursor.mIndex, UINT32_MAX);
   cursor.mIndex = 715827883; // times 6 is 2 in 32 bits
   EXPECT_EQ(cursor.Current(), nullptr);
   cursor.Init(nullptr, 18);
   EXPECT_EQ(cursor.Current(), nullptr);
   EXPECT_FALSE(cursor.Skip());
}

} // namespace
} // namespace CORE
