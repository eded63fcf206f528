#include "lib/mfw/messageframework/utfcodec.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace CORE {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes UnitBytes(const std::u16string &units) {
   Bytes bytes;
   for (const char16_t unit : units) {
      bytes.push_back(static_cast<uint8_t>(unit & 0xFF));
      bytes.push_back(static_cast<uint8_t>(unit >> 8));
   }
   return bytes;
}

struct Decoded {
   bool succeeds;
   uint32_t codePoint;
   size_t used;
   bool operator==(const Decoded &) const = default;
};

// From a block of exactly that size, so that the address sanitizer sees one byte too many.
template <typename Decoder>
Decoded DecodeWith(Decoder decoder, const Bytes &bytes) {
   const auto block = std::make_unique<uint8_t[]>(bytes.size());
   std::copy(bytes.begin(), bytes.end(), block.get());
   Decoded decoded{false, 0, 0};
   decoded.succeeds = decoder(block.get(), block.get() + bytes.size(), decoded.codePoint, decoded.used);
   return decoded;
}

class Utf8Decoder : public ::testing::Test {
protected:
   [[nodiscard]] static Decoded Decode(const Bytes &bytes) { return DecodeWith(DecodeUtf8, bytes); }
   // Fails without a use, and reports so many lines in all.
   void Refuses(const Bytes &bytes, size_t lines) {
      log.Clear();
      const Decoded decoded = Decode(bytes);
      EXPECT_FALSE(decoded.succeeds);
      EXPECT_EQ(decoded.used, 0U);
      EXPECT_EQ(log.Lines().size(), lines) << log.Dump();
   }

   kit::LogCapture log;
};

TEST_F(Utf8Decoder, TakesEachForm) {
   EXPECT_EQ(Decode({0x00}), (Decoded{true, 0x00, 1}));
   EXPECT_EQ(Decode({0x7F, 0x80}), (Decoded{true, 0x7F, 1}));
   EXPECT_EQ(Decode({0xC3, 0xA9}), (Decoded{true, 0xE9, 2}));
   EXPECT_EQ(Decode({0xE2, 0x82, 0xAC}), (Decoded{true, 0x20AC, 3}));
   EXPECT_EQ(Decode({0xF0, 0x9F, 0x98, 0x80}), (Decoded{true, 0x1F600, 4}));
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(Utf8Decoder, AddsToTheBytesUsed) {
   const Bytes bytes{0xC3, 0xA9};
   uint32_t codePoint = 0;
   size_t used = 40;
   EXPECT_TRUE(DecodeUtf8(bytes.data(), bytes.data() + 2, codePoint, used));
   EXPECT_EQ(used, 42U);
}

TEST_F(Utf8Decoder, NeedsASource) {
   const uint8_t byte = 'a';
   uint32_t codePoint = 0;
   size_t used = 0;
   EXPECT_FALSE(DecodeUtf8(nullptr, &byte, codePoint, used));
   EXPECT_FALSE(DecodeUtf8(&byte, nullptr, codePoint, used));
   EXPECT_EQ(log.Count(logger::ERROR, "Source not provided"), 2) << log.Dump();
   EXPECT_FALSE(DecodeUtf8(&byte, &byte, codePoint, used));
   EXPECT_FALSE(DecodeUtf8(&byte + 1, &byte, codePoint, used));
   EXPECT_EQ(log.Count(logger::ERROR, "Invalid source"), 2) << log.Dump();
   EXPECT_EQ(used, 0U);
}

TEST_F(Utf8Decoder, NeedsAllBytesOfAForm) {
   Refuses({0xC3}, 1);
   EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid input, expected 2 bytes")) << log.Dump();
   for (const Bytes &bytes : {Bytes{0xE2}, Bytes{0xE2, 0x82}}) {
      Refuses(bytes, 1);
      EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid input, expected 3 bytes")) << log.Dump();
   }
   for (const Bytes &bytes : {Bytes{0xF0}, Bytes{0xF0, 0x9F}, Bytes{0xF7, 0x9F, 0x98}}) {
      Refuses(bytes, 1);
      EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid input, expected 4 bytes")) << log.Dump();
   }
}

TEST_F(Utf8Decoder, NeverTakesALeadAboveF7) {
   for (unsigned lead = 0xF8; lead <= 0xFF; ++lead) {
      for (const size_t size : {size_t{1}, size_t{6}}) {
         Bytes bytes(size, 0x80);
         bytes[0] = static_cast<uint8_t>(lead);
         Refuses(bytes, 1);
         EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid Utf8 encoded char")) << log.Dump();
      }
   }
}

TEST_F(Utf8Decoder, BoundsASecondByteOfTwoFromAbove) {
   EXPECT_EQ(Decode({0xC3, 0xBF}), (Decoded{true, 0xFF, 2}));
   Refuses({0xC3, 0xC0}, 1);
   EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid 2nd byte in Utf8 encoded chars(2 bytes)")) << log.Dump();
}

TEST_F(Utf8Decoder, ReportsAGoodLastByteOfThreeAndNotABadOneAsRequired) {
   Refuses({0xE2, 0xC0, 0xAC}, 2);
   EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid 2nd byte in Utf8 encoded chars(3 bytes)")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid 3rd byte in Utf8 encoded chars(3 bytes)")) << log.Dump();
   Refuses({0xE2, 0x82, 0xC0}, 0);
   Refuses({0xE2, 0xC0, 0xC0}, 1);
   EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid 2nd byte in Utf8 encoded chars(3 bytes)")) << log.Dump();
}

TEST_F(Utf8Decoder, ReportsGoodThirdAndFourthBytesOfFourAndNotBadOnesAsRequired) {
   for (unsigned bad = 1; bad < 8; ++bad) { // bit 0: the second byte is bad, and so on
      const auto byte = [&](unsigned bit) {
         return static_cast<uint8_t>((bad >> bit & 1U) != 0 ? 0xC0 : 0xBF);
      };
      log.Clear();
      EXPECT_FALSE(Decode({0xF0, byte(0), byte(1), byte(2)}).succeeds);
      EXPECT_EQ(log.Saw(logger::ERROR, "Invalid 2nd byte in Utf8 encoded chars(4 bytes)"), (bad & 1U) != 0) << bad;
      EXPECT_EQ(log.Saw(logger::ERROR, "Invalid 3rd byte in Utf8 encoded chars(4 bytes)"), (bad & 2U) == 0) << bad;
      EXPECT_EQ(log.Saw(logger::ERROR, "Invalid 4th byte in Utf8 encoded chars(4 bytes)"), (bad & 4U) == 0) << bad;
   }
}

TEST_F(Utf8Decoder, TakesAnyByteBelowC0AsAContinuationAsRequired) {
   EXPECT_EQ(Decode({0xC3, 'A'}), (Decoded{true, 0xC1, 2}));
   EXPECT_EQ(Decode({0xE2, 0x00, 0x7F}), (Decoded{true, 0x203F, 3}));
   EXPECT_EQ(Decode({0xF0, 0x1F, 0x18, 0x00}), (Decoded{true, 0x1F600, 4}));
}

TEST_F(Utf8Decoder, TakesAStrayContinuationAsTheLeadOfTwoBytesAsRequired) {
   EXPECT_EQ(Decode({0x80, 0x80}), (Decoded{true, 0x00, 2}));
   EXPECT_EQ(Decode({0xBF, 'A'}), (Decoded{true, 0x7C1, 2}));
   Refuses({0x80}, 1);
   EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid input, expected 2 bytes")) << log.Dump();
}

TEST_F(Utf8Decoder, TakesOverlongFormsAsRequired) {
   EXPECT_EQ(Decode({0xC0, 0x80}), (Decoded{true, 0, 2}));
   EXPECT_EQ(Decode({0xE0, 0x80, 0xAF}), (Decoded{true, '/', 3}));
   EXPECT_EQ(Decode({0xF0, 0x82, 0x82, 0xAC}), (Decoded{true, 0x20AC, 4}));
}

TEST_F(Utf8Decoder, TakesSurrogatesAsRequired) {
   EXPECT_EQ(Decode({0xED, 0xA0, 0x80}), (Decoded{true, 0xD800, 3}));
   EXPECT_EQ(Decode({0xED, 0xBF, 0xBF}), (Decoded{true, 0xDFFF, 3}));
}

TEST_F(Utf8Decoder, TakesNumbersBeyondUnicodeAsRequired) {
   EXPECT_EQ(Decode({0xF4, 0x8F, 0xBF, 0xBF}), (Decoded{true, 0x10FFFF, 4}));
   EXPECT_EQ(Decode({0xF4, 0x90, 0x80, 0x80}), (Decoded{true, 0x110000, 4}));
   EXPECT_EQ(Decode({0xF7, 0xBF, 0xBF, 0xBF}), (Decoded{true, 0x1FFFFF, 4}));
}

class Utf16Decoder : public ::testing::Test {
protected:
   [[nodiscard]] static Decoded Decode(const std::u16string &units) {
      return DecodeWith(DecodeUtf16, UnitBytes(units));
   }
   kit::LogCapture log;
};

TEST_F(Utf16Decoder, TakesUnitsAndPairs) {
   EXPECT_EQ(Decode(u"A"), (Decoded{true, 'A', 1}));
   EXPECT_EQ(Decode(u"\uFFFFA"), (Decoded{true, 0xFFFF, 1}));
   EXPECT_EQ(Decode({0xD83D, 0xDE00}), (Decoded{true, 0x1F600, 2}));
   EXPECT_EQ(Decode({0xD800, 0xDC00}), (Decoded{true, 0x10000, 2}));
   EXPECT_EQ(Decode({0xDBFF, 0xDFFF}), (Decoded{true, 0x10FFFF, 2}));
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(Utf16Decoder, LetsALoneLowSurrogatePassAsRequired) {
   EXPECT_EQ(Decode({0xDC00}), (Decoded{true, 0xDC00, 1}));
   EXPECT_EQ(Decode({0xDFFF, 0xDC00}), (Decoded{true, 0xDFFF, 1}));
}

TEST_F(Utf16Decoder, ReportsAHighSurrogateAtTheEndAtDebug) {
   EXPECT_EQ(Decode({0xD800}), (Decoded{false, 0, 0}));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Incomplete surrogate char found")) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1U);
}

TEST_F(Utf16Decoder, TakesNoOtherUnitForALowSurrogate) {
   for (const char16_t unit : {char16_t{0xDBFF}, char16_t{0xE000}, u'A'}) {
      log.Clear();
      EXPECT_EQ(Decode({0xDBFF, unit}), (Decoded{false, 0, 0}));
      EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid low surrogate value")) << log.Dump();
      EXPECT_EQ(log.Lines().size(), 1U);
   }
}

TEST_F(Utf16Decoder, NeedsASource) {
   const Bytes bytes{'A', 0, 0};
   uint32_t codePoint = 0;
   size_t used = 0;
   EXPECT_FALSE(DecodeUtf16(nullptr, bytes.data(), codePoint, used));
   EXPECT_FALSE(DecodeUtf16(bytes.data(), nullptr, codePoint, used));
   EXPECT_EQ(log.Count(logger::ERROR, "Source info not provided"), 2) << log.Dump();
   EXPECT_FALSE(DecodeUtf16(bytes.data(), bytes.data(), codePoint, used));
   EXPECT_FALSE(DecodeUtf16(bytes.data() + 2, bytes.data() + 3, codePoint, used)) << "half a unit is none";
   EXPECT_EQ(log.Count(logger::ERROR, "Invalid source"), 2) << log.Dump();
}

TEST_F(Utf16Decoder, TakesUnitsAtOddAddresses) {
   const Bytes bytes{0xFF, 0x3D, 0xD8, 0x00, 0xDE};
   uint32_t codePoint = 0;
   size_t used = 0;
   EXPECT_TRUE(DecodeUtf16(bytes.data() + 1, bytes.data() + 5, codePoint, used));
   EXPECT_EQ(codePoint, 0x1F600U);
}

// What an encoder writes into exactly `room` bytes; nothing when it refuses.
template <typename Encoder>
Bytes EncodeWith(Encoder encoder, uint32_t codePoint, size_t room, size_t bytesEach) {
   const auto block = std::make_unique<uint8_t[]>(room);
   size_t written = 0;
   const bool succeeds = encoder(codePoint, block.get(), block.get() + room, written);
   EXPECT_EQ(succeeds, written != 0);
   return {block.get(), block.get() + written * bytesEach};
}

class Utf8Encoder : public ::testing::Test {
protected:
   static Bytes Encode(uint32_t codePoint, size_t room = 4) { return EncodeWith(EncodeUtf8, codePoint, room, 1); }
   kit::LogCapture log;
};

TEST_F(Utf8Encoder, WritesEachForm) {
   EXPECT_EQ(Encode(0), (Bytes{0x00}));
   EXPECT_EQ(Encode(0x7F), (Bytes{0x7F}));
   EXPECT_EQ(Encode(0x80), (Bytes{0xC2, 0x80}));
   EXPECT_EQ(Encode(0x7FF), (Bytes{0xDF, 0xBF}));
   EXPECT_EQ(Encode(0x800), (Bytes{0xE0, 0xA0, 0x80}));
   EXPECT_EQ(Encode(0xFFFF), (Bytes{0xEF, 0xBF, 0xBF}));
   EXPECT_EQ(Encode(0x10000), (Bytes{0xF0, 0x90, 0x80, 0x80}));
   EXPECT_EQ(Encode(0x3FFFF), (Bytes{0xF0, 0xBF, 0xBF, 0xBF}));
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(Utf8Encoder, WritesSurrogatesAsRequired) {
   EXPECT_EQ(Encode(0xD800), (Bytes{0xED, 0xA0, 0x80}));
   EXPECT_EQ(Encode(0xDFFF), (Bytes{0xED, 0xBF, 0xBF}));
}

TEST_F(Utf8Encoder, LeadsFourBytesWithF0AlwaysAsRequired) {
   EXPECT_EQ(Encode(0x40000), (Bytes{0xF0, 0x80, 0x80, 0x80}));
   EXPECT_EQ(Encode(0x10FFFF), (Bytes{0xF0, 0x8F, 0xBF, 0xBF}));
}

TEST_F(Utf8Encoder, RefusesWhatIsBeyondUnicode) {
   for (const uint32_t codePoint : {0x110000U, 0x1FFFFFU, 0xFFFFFFFFU}) {
      log.Clear();
      EXPECT_TRUE(Encode(codePoint).empty());
      EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid unicode codepoint")) << log.Dump();
   }
   EXPECT_TRUE(Encode(0x110000, 0).empty());
}

TEST_F(Utf8Encoder, NeedsRoomForTheWholeForm) {
   EXPECT_TRUE(Encode('A', 0).empty());
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer available to copy 1-byte Utf8 encoded character"));
   EXPECT_TRUE(Encode(0xE9, 1).empty());
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer available to copy 2-byte Utf8 encoded character"));
   EXPECT_TRUE(Encode(0x20AC, 2).empty());
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer available to copy 3-byte Utf8 encoded character"));
   EXPECT_TRUE(Encode(0x1F600, 3).empty());
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer available to copy 4-byte Utf8 encoded character"));
   EXPECT_EQ(log.Lines().size(), 4U) << log.Dump();
   EXPECT_EQ(Encode('A', 1).size() + Encode(0xE9, 2).size() + Encode(0x20AC, 3).size(), 6U);
}

TEST_F(Utf8Encoder, TakesNoTargetForNoRoom) {
   size_t written = 0;
   EXPECT_FALSE(EncodeUtf8('A', nullptr, nullptr, written));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer available to copy 1-byte Utf8 encoded character"));
}

class Utf16Encoder : public ::testing::Test {
protected:
   static Bytes Encode(uint32_t codePoint, size_t room = 4) { return EncodeWith(EncodeUtf16, codePoint, room, 2); }
   kit::LogCapture log;
};

TEST_F(Utf16Encoder, WritesUnitsAndPairs) {
   EXPECT_EQ(Encode('A'), UnitBytes({'A'}));
   EXPECT_EQ(Encode(0xFFFF), UnitBytes({0xFFFF}));
   EXPECT_EQ(Encode(0x10000), UnitBytes({0xD800, 0xDC00}));
   EXPECT_EQ(Encode(0x1F600), UnitBytes({0xD83D, 0xDE00}));
   EXPECT_EQ(Encode(0x10FFFF), UnitBytes({0xDBFF, 0xDFFF}));
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(Utf16Encoder, WritesALoneSurrogateAsRequired) {
   EXPECT_EQ(Encode(0xD800), UnitBytes({0xD800}));
}

TEST_F(Utf16Encoder, RunsOnBeyondUnicodeAsRequired) {
   EXPECT_EQ(Encode(0x110000), UnitBytes({0xDC00, 0xDC00}));
   EXPECT_EQ(Encode(0x1FFFFF), UnitBytes({0xDFBF, 0xDFFF}));
}

TEST_F(Utf16Encoder, NeedsRoomForAllUnits) {
   for (const size_t room : {size_t{0}, size_t{1}}) {
      log.Clear();
      EXPECT_TRUE(Encode('A', room).empty());
      EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer available to copy singular Utf16 encoded character"));
   }
   for (const size_t room : {size_t{0}, size_t{2}, size_t{3}}) {
      log.Clear();
      EXPECT_TRUE(Encode(0x1F600, room).empty());
      EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer available to copy Utf16 surrogate pair"));
   }
}

} // namespace
} // namespace CORE
