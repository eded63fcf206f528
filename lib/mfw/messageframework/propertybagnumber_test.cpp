#include "lib/mfw/messageframework/propertybagnumber.h"

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/messageframework/PropertyBagNumberTestKit.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace CORE::bagnumber {
namespace {

using namespace std::string_view_literals;

TEST(BagNumber, ReadsNormalisedNumbers) {
   const struct {
      std::string_view text;
      int64_t value;
   } cases[] = {
      {"", 0},
      {" \t\r\n", 0},
      {"7", 7},
      {"-7", -7},
      {"+7", 7},
      {"007", 7},
      {" 010 ", 10},
      {"\t-010\r\n", -10},
      {"+0010", 10},
      {"08", 8},
      {"0", 0},
      {"-0", 0},
      {"000", 0},
      {"00000000000000000000000000000000001", 1},
      {"0x1F", 31},
      {"0X1f", 31},
      {"-0x10", -16},
      {"00x1F", 31},
      {"0x", 0},
      {"0xg", 0},
      {"0b1", 0},
      {"12abc", 12},
      {"1 2", 1},
      {"- 5", 0},
      {"--5", 0},
      {"-", 0},
      {"+", 0},
      {"yes", 0},
      {"\v5", 5},
      {"\f-010", -8}, // not trimmed, so that the sign does not come first
      {"9223372036854775807", INT64_MAX},
      {"9223372036854775808", INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
      {"-09223372036854775808", INT64_MIN},
      {"-9223372036854775809", INT64_MIN},
      {"18446744073709551616", INT64_MAX},
      {"99999999999999999999999999999999999999", INT64_MAX},
      {"-99999999999999999999999999999999999999", INT64_MIN},
      {"0xFFFFFFFFFFFFFFFF", INT64_MAX},
      {"5\0006"sv, 5},
      {"0\0007"sv, 0},
   };
   for (const auto &[text, value] : cases) {
      EXPECT_EQ(NormalizedInt64(text), value) << '"' << text << '"';
      EXPECT_EQ(plain::ToInt64(plain::Normalized(std::string(text))), value) << '"' << text << '"';
   }
}

TEST(BagNumber, ReadsRawNumbersWithTheirBase) {
   const struct {
      std::string_view text;
      int64_t value;
   } cases[] = {{"010", 8},   {" 010", 8},         {"08", 0}, {"-010", -8},
                {"0x10", 16}, {"\n\v\f\r\t 5", 5}, {"5 ", 5}, {"x", 0}};
   for (const auto &[text, value] : cases) {
      EXPECT_EQ(ToInt64(text), value) << '"' << text << '"';
   }
}

TEST(BagNumber, ReadsUnsignedNumbersModulo64Bits) {
   const struct {
      std::string_view text;
      uint64_t value;
   } cases[] = {{"-1", UINT64_MAX},
                {"-5", UINT64_MAX - 4},
                {"0010", 10},
                {"18446744073709551615", UINT64_MAX},
                {"18446744073709551616", UINT64_MAX},
                {"-18446744073709551615", 1},
                {"-18446744073709551616", UINT64_MAX},
                {"9223372036854775808", uint64_t{1} << 63}};
   for (const auto &[text, value] : cases) {
      EXPECT_EQ(NormalizedUint64(text), value) << text;
      EXPECT_EQ(plain::ToUint64(plain::Normalized(std::string(text))), value) << text;
   }
}

TEST(BagNumber, TruthIsThreeWordsOrANumber) {
   const struct {
      std::string_view text;
      bool value;
   } cases[] = {
      {"true", true},
      {"TRUE", true},
      {"tRuE", true},
      {"yes", true},
      {"Yes", true},
      {"on", true},
      {"ON", true},
      {"true\0x"sv, true}, // a text ends at its zero
      {"truest", false},
      {"tru", false},
      {"onn", false},
      {" yes", false},
      {"yes ", false},
      {"no", false},
      {"off", false},
      {"false", false},
      {"", false},
      {"0", false},
      {"1", true},
      {"-1", true},
      {" 1", true},
      {"0x10", true},
      {"010", true},
      {"08", false}, // an octal 0, and no 8
      {"1abc", true},
      {"4294967296", false},                  // 2^32: the low 32 bits are 0
      {"4294967297", true},                   //
      {"99999999999999999999999999", true},   // the end of the range
      {"-99999999999999999999999999", false}, // whose low bits are 0 at this end
      {"-9223372036854775807", true},
   };
   for (const auto &[text, value] : cases) {
      EXPECT_EQ(ToBool(text), value) << '"' << text << '"';
      EXPECT_EQ(plain::ToBool(std::string(text)), value) << '"' << text << '"';
   }
}

TEST(BagNumber, ACharacterPastTheEndIsOutOfBounds) {
   EXPECT_EQ(CharAt("ab", 1), 'b');
   EXPECT_EQ(CharAt("ab", 2), '\0');
   EXPECT_EQ(CharAt("", 0), '\0');
   for (const auto &[text, index] : {std::pair{"ab"sv, size_t{3}}, {""sv, size_t{1}}, {"ab"sv, SIZE_MAX}}) {
      try {
         static_cast<void>(CharAt(text, index));
         ADD_FAILURE() << index;
      } catch (const coreException &error) {
         EXPECT_STREQ(error.Message(), "Array bounds");
      }
   }
}

// Every text of up to five characters of those that mean anything, both readers.
TEST(BagNumber, AgreesWithTheCopyThatTheCLibraryReads) {
   constexpr std::string_view kLetters = "0189+-xF \v";
   std::string text;
   size_t compared = 0;
   for (size_t length = 0; length <= 5; ++length) {
      std::vector<size_t> digits(length, 0);
      for (bool done = false; !done;) {
         text.clear();
         for (const size_t digit : digits) {
            text += kLetters[digit];
         }
         ASSERT_EQ(ToInt64(text), plain::ToInt64(text)) << '"' << text << '"';
         ASSERT_EQ(ToBool(text), plain::ToBool(text)) << '"' << text << '"';
         ASSERT_EQ(NormalizedInt64(text), plain::ToInt64(plain::Normalized(text))) << '"' << text << '"';
         ASSERT_EQ(NormalizedUint64(text), plain::ToUint64(plain::Normalized(text))) << '"' << text << '"';
         ++compared;
         done = true;
         for (size_t &digit : digits) {
            digit = (digit + 1) % kLetters.size();
            if (digit != 0) {
               done = false;
               break;
            }
         }
      }
   }
   EXPECT_EQ(compared, 111111U);
}

TEST(BagNumber, TrimsFourKindsOfBlanks) {
   EXPECT_EQ(Trimmed(" \t\r\n a b \n\r\t "), "a b");
   EXPECT_EQ(Trimmed("\va\f"), "\va\f");
   EXPECT_EQ(Trimmed(" \t\r\n"), "");
   EXPECT_EQ(Trimmed(""), "");
}

TEST(BagNumber, FoldsAsciiAndNothingElse) {
   for (int byte = 0; byte < 256; ++byte) {
      const bool capital = byte >= 'A' && byte <= 'Z';
      EXPECT_EQ(Folded(static_cast<char>(byte)), static_cast<char>(capital ? byte + 32 : byte)) << byte;
   }
   EXPECT_TRUE(EqualFolded("AbC", "aBc"));
   EXPECT_FALSE(EqualFolded("abc", "abcd"));
   EXPECT_FALSE(EqualFolded("\xC9", "\xE9")); // one letter in some one-byte encodings
   EXPECT_FALSE(EqualFolded("@[", "`{"));     // 32 apart, as letters are
}

} // namespace
} // namespace CORE::bagnumber
