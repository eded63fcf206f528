// The converters against two others: ICU on well-formed text, and on any bytes the tables of WireReferenceTestKit,
// message by message.

#include "lib/mfw/messageframework/wirestring.h"

#include "lib/mfw/messageframework/WireReferenceTestKit.h"

#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace CORE {
namespace {

#ifdef MAVR_SANITIZED
constexpr unsigned kStride = 257; // of the sequences of three bytes; every one in an ordinary build
constexpr int kRandomTexts = 20000;
#else
constexpr unsigned kStride = 1;
constexpr int kRandomTexts = 400000;
#endif

std::string Hex(std::string_view bytes) {
   constexpr char kDigits[] = "0123456789ABCDEF";
   std::string hex;
   for (const char byte : bytes) {
      hex += {kDigits[static_cast<unsigned char>(byte) >> 4], kDigits[byte & 15], ' '};
   }
   return hex;
}
std::string_view BytesOf(std::u16string_view units) {
   return {reinterpret_cast<const char *>(units.data()), units.size() * 2};
}

// Writes and reads with the product, and holds all that can be seen of it against the tables.
class Comparison {
public:
   // Nothing but equality is the result; a difference is described once.
   [[nodiscard]] ::testing::AssertionResult Writes(std::string_view text, size_t room) {
      wirereference::WriteUtf16(text, room, mExpected);
      mText.Assign(text.data(), static_cast<ptrdiff_t>(text.size()));
      mBuffer.assign(room + 4, kFill);
      bytecursor cursor;
      cursor.Init(mBuffer.data(), static_cast<uint32_t>(room));
      uint32_t chars = 0;
      mLines.Clear();
      const bool succeeds = WriteString(mText, Utf16, cursor, chars);
      const size_t units = mExpected.succeeds ? mExpected.units.size() : 0;
      const bool moved = cursor.mConsumed == units * 2 && cursor.mCount == units && chars == units;
      const std::string_view written(reinterpret_cast<const char *>(mBuffer.data()), mExpected.units.size() * 2);
      const bool inside = std::all_of(mBuffer.end() - 4, mBuffer.end(), [](uint8_t byte) { return byte == kFill; });
      if (succeeds == mExpected.succeeds && moved && written == BytesOf(mExpected.units) && inside &&
          mLines.Are(mExpected.lines)) {
         return ::testing::AssertionSuccess();
      }
      return ::testing::AssertionFailure()
             << "writing " << Hex(text) << "into " << room << " bytes: got " << succeeds << " " << Hex(written) << "\n"
             << mLines.Dump() << "expected " << mExpected.succeeds << " " << Hex(BytesOf(mExpected.units));
   }

   [[nodiscard]] ::testing::AssertionResult Reads(std::u16string_view units) {
      wirereference::ReadUtf16(units, mExpected);
      const std::string_view bytes = BytesOf(units);
      mBuffer.assign(bytes.begin(), bytes.end());
      bytecursor cursor;
      cursor.Init(mBuffer.data(), static_cast<uint32_t>(mBuffer.size()));
      mText.Assign("former");
      mLines.Clear();
      const bool succeeds = ReadString(mText, cursor, static_cast<uint32_t>(units.size()), Utf16);
      const std::string_view text(mText.Text(), mText.Length());
      const size_t read = mExpected.succeeds ? units.size() : 0;
      const bool moved = cursor.mConsumed == read * 2 && cursor.mCount == read;
      const std::string_view expected = mExpected.succeeds && read != 0 ? std::string_view(mExpected.bytes) : "former";
      if (succeeds == mExpected.succeeds && moved && text == expected && mLines.Are(mExpected.lines)) {
         return ::testing::AssertionSuccess();
      }
      return ::testing::AssertionFailure()
             << "reading " << Hex(bytes) << ": got " << succeeds << " " << Hex(text) << "\n"
             << mLines.Dump() << "expected " << mExpected.succeeds << " " << Hex(expected);
   }

private:
   static constexpr uint8_t kFill = 0xEE;

   wirereference::Recorder mLines;
   wirereference::Outcome mExpected;
   corestring mText;
   std::vector<uint8_t> mBuffer;
};

std::u16string IcuUtf16(const std::string &text) {
   std::u16string units(text.size(), u'\0');
   int32_t length = 0;
   UErrorCode status = U_ZERO_ERROR;
   u_strFromUTF8(units.data(), static_cast<int32_t>(units.size()), &length, text.data(),
                 static_cast<int32_t>(text.size()), &status);
   EXPECT_TRUE(U_SUCCESS(status));
   units.resize(static_cast<size_t>(length));
   return units;
}

// In ICU's UTF-8, from the number alone.
std::string IcuUtf8(const std::vector<UChar32> &codePoints) {
   std::u16string units(codePoints.size() * 2, u'\0');
   int32_t length = 0;
   UErrorCode status = U_ZERO_ERROR;
   u_strFromUTF32(units.data(), static_cast<int32_t>(units.size()), &length, codePoints.data(),
                  static_cast<int32_t>(codePoints.size()), &status);
   std::string text(codePoints.size() * 4, '\0');
   int32_t size = 0;
   u_strToUTF8(text.data(), static_cast<int32_t>(text.size()), &size, units.data(), length, &status);
   EXPECT_TRUE(U_SUCCESS(status));
   text.resize(static_cast<size_t>(size));
   return text;
}

std::u16string Written(const std::string &text) {
   std::u16string units(text.size(), u'\0');
   bytecursor cursor;
   cursor.Init(reinterpret_cast<uint8_t *>(units.data()), static_cast<uint32_t>(units.size() * 2));
   uint32_t chars = 0;
   EXPECT_TRUE(WriteString(corestring(text.data(), text.size()), Utf16, cursor, chars));
   units.resize(chars);
   return units;
}

std::string Read(std::u16string units) {
   bytecursor cursor;
   cursor.Init(reinterpret_cast<uint8_t *>(units.data()), static_cast<uint32_t>(units.size() * 2));
   corestring text;
   EXPECT_TRUE(ReadString(text, cursor, static_cast<uint32_t>(units.size()), Utf16));
   return {text.Text(), text.Length()};
}

constexpr UChar32 kFirstFalsified = 0x40000; // from here on four bytes of UTF-8 come out as another code point
constexpr UChar32 kBeyond = 0x110000;

template <typename Check>
void ForEachCodePoint(UChar32 from, UChar32 to, Check check) {
   for (UChar32 codePoint = from; codePoint < to && !::testing::Test::HasFailure(); ++codePoint) {
      if (codePoint < 0xD800 || codePoint > 0xDFFF) {
         check(codePoint);
      }
   }
}

TEST(WireDifferential, EveryCodePointUpTo3FFFFIsAsIcuHasItBothWays) {
   std::vector<UChar32> all;
   ForEachCodePoint(0, kFirstFalsified, [&](UChar32 codePoint) {
      const std::string text = IcuUtf8({codePoint});
      const std::u16string units = IcuUtf16(text);
      EXPECT_EQ(Written(text), units) << codePoint;
      EXPECT_EQ(Read(units), text) << codePoint;
      all.push_back(codePoint);
   });
   const std::string text = IcuUtf8(all);
   EXPECT_EQ(Written(text), IcuUtf16(text));
   EXPECT_EQ(Read(IcuUtf16(text)), text);
}

TEST(WireDifferential, EveryCodePointFrom40000OnLosesItsHighBitsWhenReadAsRequired) {
   ForEachCodePoint(kFirstFalsified, kBeyond, [&](UChar32 codePoint) {
      const std::string text = IcuUtf8({codePoint});
      const std::u16string units = IcuUtf16(text);
      EXPECT_EQ(Written(text), units) << codePoint;
      std::string falsified = text;
      falsified[0] = '\xF0';
      EXPECT_EQ(Read(units), falsified) << codePoint;
      EXPECT_EQ(Read(units + u"behind it, a text that is long enough"),
                falsified + "behind it, a text that is long enough")
         << codePoint;
   });
}

TEST(WireDifferential, LongMixedTextsAreAsIcuHasThem) {
   std::mt19937 random(20261121);
   constexpr UChar32 kBelow[] = {0x80, 0x80, 0x800, 0xD800, 0x10000, kFirstFalsified};
   for (int text = 0; text < 300; ++text) {
      std::vector<UChar32> codePoints(random() % 3000 + 1);
      const size_t kinds = random() % std::size(kBelow) + 1;
      for (UChar32 &codePoint : codePoints) {
         codePoint = static_cast<UChar32>(random()) & 0x7FFFFFFF;
         codePoint %= kBelow[random() % kinds];
         codePoint = codePoint >= 0xD800 && codePoint <= 0xDFFF ? 0x20AC : codePoint;
      }
      const std::string utf8 = IcuUtf8(codePoints);
      ASSERT_EQ(Written(utf8), IcuUtf16(utf8)) << text;
      ASSERT_EQ(Read(IcuUtf16(utf8)), utf8) << text;
   }
}

// Alone, where the codec takes them, and with text behind, where the fast loops do.
class WireSequences : public ::testing::TestWithParam<unsigned> {};

constexpr std::string_view kBehind = "and then some text";
constexpr size_t kRoom = 64;

TEST_P(WireSequences, OfUpToThreeBytesAreWrittenAsTheTablesSay) {
   Comparison comparison;
   std::string text;
   const auto check = [&](std::string_view bytes) {
      ASSERT_TRUE(comparison.Writes(bytes, kRoom));
      text.assign(bytes).append(kBehind);
      ASSERT_TRUE(comparison.Writes(text, kRoom));
   };
   std::string bytes(3, '\0');
   for (unsigned first = GetParam(); first < GetParam() + 32 && !HasFatalFailure(); ++first) {
      bytes[0] = static_cast<char>(first);
      check(std::string_view(bytes).substr(0, 1));
      for (unsigned second = 0; second < 256 && !HasFatalFailure(); ++second) {
         bytes[1] = static_cast<char>(second);
         check(std::string_view(bytes).substr(0, 2));
         for (unsigned third = second % kStride; third < 256 && !HasFatalFailure(); third += kStride) {
            bytes[2] = static_cast<char>(third);
            check(bytes);
         }
      }
   }
}
INSTANTIATE_TEST_SUITE_P(FirstByteFrom, WireSequences, ::testing::Range(0U, 256U, 32U),
                         ::testing::PrintToStringParamName());

TEST(WireDifferential, FourBytesAtTheEdgesOfEachRangeAreWrittenAsTheTablesSay) {
   constexpr unsigned char kEdges[] = {0x00, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0,
                                       0xDF, 0xE0, 0xEF, 0xF0, 0xF1, 0xF4, 0xF7, 0xF8, 0xFF};
   Comparison comparison;
   for (unsigned lead = 0xE0; lead <= 0xFF; ++lead) {
      for (const unsigned char second : kEdges) {
         for (const unsigned char third : kEdges) {
            for (const unsigned char fourth : kEdges) {
               const unsigned char bytes[] = {static_cast<unsigned char>(lead), second, third, fourth};
               std::string text(reinterpret_cast<const char *>(bytes), sizeof bytes);
               ASSERT_TRUE(comparison.Writes(text, kRoom));
               ASSERT_TRUE(comparison.Writes(text.append(kBehind), kRoom));
            }
         }
      }
   }
}

// Pieces that are mostly good, so that an error comes late, and some that are not.
template <typename Text>
Text RandomText(std::mt19937 &random, const std::vector<Text> &pieces, size_t most) {
   Text text;
   const size_t kinds = random() % pieces.size() + 1;
   for (size_t count = random() % (most + 1); count > 0; --count) {
      text += pieces[random() % kinds];
      if (random() % 512 == 0) {
         text += static_cast<typename Text::value_type>(random());
      }
   }
   return text;
}

TEST(WireDifferential, RandomBytesAreWrittenAsTheTablesSayIntoAnyRoom) {
   const std::vector<std::string> pieces = {"a",
                                            "some ASCII in a row",
                                            "\u00E9",
                                            "\u20AC",
                                            "\U0001F600",
                                            "\x80",
                                            "\xF5\x80\x80\x80",
                                            "\xED\xA0\x80",
                                            "\xC0\x80",
                                            "\xF0\x80\x80\x80",
                                            "\xE2z\x7F",
                                            "\xC3"};
   Comparison comparison;
   std::mt19937 random(41);
   for (int i = 0; i < kRandomTexts; ++i) {
      const std::string text = RandomText(random, pieces, i % 50 == 0 ? 400 : 24);
      const size_t room = random() % 4 == 0 ? random() % (text.size() * 2 + 2) : text.size() * 2 + random() % 9;
      ASSERT_TRUE(comparison.Writes(text, room)) << "text " << i;
   }
}

TEST(WireDifferential, EveryUnitIsReadAsTheTablesSayAloneAndBesideOthers) {
   constexpr char16_t kEdges[] = {0x0000, 0x007F, 0x0080, 0x07FF, 0x0800, 0xD7FF,
                                  0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
   Comparison comparison;
   std::u16string units;
   for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
      const auto value = static_cast<char16_t>(unit);
      ASSERT_TRUE(comparison.Reads({&value, 1}));
      for (const char16_t edge : kEdges) {
         const char16_t pairs[] = {value, edge, value};
         ASSERT_TRUE(comparison.Reads({pairs, 2}));
         ASSERT_TRUE(comparison.Reads({pairs + 1, 2}));
         units.assign(pairs, 3).append(u"and then some text");
         ASSERT_TRUE(comparison.Reads(units));
      }
   }
}

TEST(WireDifferential, RandomUnitsAreReadAsTheTablesSay) {
   const std::vector<std::u16string> pieces = {u"a",          u"some ASCII in a row", u"\u00E9",         u"\u20AC",
                                               u"\U0001F600", u"\U00040000",          {char16_t{0xDC00}}};
   Comparison comparison;
   std::mt19937 random(42);
   for (int i = 0; i < kRandomTexts; ++i) {
      ASSERT_TRUE(comparison.Reads(RandomText(random, pieces, i % 50 == 0 ? 700 : 24))) << "text " << i;
   }
}

} // namespace
} // namespace CORE
