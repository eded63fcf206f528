#include "pcoip_host/local/LocalMessage.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace pcoip_host {
namespace {

TEST(LocalMessage, IsSixtyFourBytesHighestByteFirst) {
   LocalMessage message;
   message.kind = LocalMessage::Kind::kOpen;
   message.channel = 0x01020304;
   message.other = 5;
   message.flags = LocalMessage::kLossy;
   message.size = 0x4000;
   message.lossySize = 0x4B0;
   message.name = "video";
   const LocalMessage::Record expected = {
      0,   0, 0,    2, 1, 2, 3, 4,    0, 0, 0, 5, 0,   0,   0,   1,   // kind, channel, other, flags
      0,   0, 0x40, 0, 0, 0, 4, 0xB0, 0, 0, 0, 1, 'v', 'i', 'd', 'e', // size, lossySize, version, name
      'o',
   };
   EXPECT_EQ(message.Pack(), expected);
   const auto again = LocalMessage::Unpack(expected);
   ASSERT_TRUE(again.has_value());
   EXPECT_EQ(again->Pack(), expected);
   EXPECT_EQ(again->name, "video");
}

TEST(LocalMessage, ALongNameIsCutAtThirtyOneCharacters) {
   LocalMessage message;
   message.name = std::string(40, 'n');
   const auto again = LocalMessage::Unpack(message.Pack());
   ASSERT_TRUE(again.has_value());
   EXPECT_EQ(again->name, std::string(31, 'n'));
}

TEST(LocalMessage, RefusesWhatItWouldNotHaveWritten) {
   struct {
      size_t at;
      uint8_t value;
   } const spoils[] = {{3, 0}, {3, 7}, {0, 1}, {27, 2}, {24, 1}, {60, 1}, {63, 1}, {33, 'x'}};
   LocalMessage good;
   good.name = "abc";
   for (const auto &spoil : spoils) {
      LocalMessage::Record record = good.Pack();
      record[spoil.at] = spoil.value;
      EXPECT_FALSE(LocalMessage::Unpack(record).has_value()) << "byte " << spoil.at;
   }
   LocalMessage::Record endless = good.Pack();
   std::fill(endless.begin() + 28, endless.begin() + 60, uint8_t{'a'});
   EXPECT_FALSE(LocalMessage::Unpack(endless).has_value());
}

} // namespace
} // namespace pcoip_host
