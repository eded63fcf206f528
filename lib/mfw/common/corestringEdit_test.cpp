// What corestring makes of texts in texts: append, replace, trim, format, compare.

#include "lib/mfw/common/corestring.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

using CORE::corestring;

namespace {

std::string Std(const corestring &text) {
   return {text.Text(), text.Length()};
}

TEST(CoreStringEdit, Appends) {
   corestring text;
   text.Append("abc");
   text.Append("defg", 2);
   text.Append("");
   text.Append(corestring("!"));
   EXPECT_EQ(Std(text), "abcde!");
   text.Append(text);
   EXPECT_EQ(Std(text), "abcde!abcde!");
   text.Append(text.Data() + 6, 7); // with its zero
   EXPECT_EQ(Std(text), std::string("abcde!abcde!abcde!\0", 19));
}

TEST(CoreStringEdit, AppendsAPartOfItselfAcrossBlocks) {
   for (const bool secure : {false, true}) {
      std::string model = "0123456789";
      corestring text(model.c_str());
      if (secure) {
         text.SetSecure();
      }
      for (int i = 0; i < 10; ++i) {
         text.Append(text.Data() + 1, static_cast<ptrdiff_t>(text.Length()) - 1);
         model += std::string(model, 1);
         ASSERT_EQ(Std(text), model);
      }
      text.Append(text.Data() + 1, static_cast<ptrdiff_t>(text.Length())); // with its zero
      EXPECT_EQ(Std(text), model + std::string(model, 1) + '\0');
   }
}

TEST(CoreStringEdit, Replaces) {
   struct {
      const char *text;
      size_t position, count;
      const char *with;
      ptrdiff_t length;
      const char *result;
   } const cases[] = {
      {"0123456789", 2, 3, "ab", -1, "01ab56789"},
      {"0123456789", 2, 3, "abcdef", -1, "01abcdef56789"},
      {"0123456789", 2, 3, "abcdef", 1, "01a56789"},
      {"0123456789", 0, 0, "ab", -1, "ab0123456789"},
      {"0123456789", 10, 0, "ab", -1, "0123456789ab"},
      {"0123456789", 11, 5, "ab", -1, "0123456789ab"},
      {"0123456789", SIZE_MAX, SIZE_MAX, "ab", -1, "0123456789ab"},
      {"0123456789", 8, SIZE_MAX, "ab", -1, "01234567ab"},
      {"0123456789", 0, SIZE_MAX, "ab", -1, "ab"},
      {"0123456789", 0, SIZE_MAX, "", -1, ""},
      {"0123456789", 3, 2, "", -1, "01256789"},
      {"", 5, 5, "ab", -2, "ab"},
      {"", 0, 0, "", -1, ""},
   };
   for (const auto &each : cases) {
      corestring text(each.text);
      text.Replace(each.position, each.count, each.with, each.length);
      EXPECT_EQ(Std(text), each.result);
      EXPECT_EQ(text.Data() == nullptr, *each.result == '\0');
   }
}

TEST(CoreStringEdit, ReplacesByAPartOfItself) {
   corestring text("0123456789");
   text.Replace(2, 1, text.Data() + 5);
   EXPECT_EQ(Std(text), "01567893456789");
   text.Replace(0, 7, text.Data() + 3, 4); // in place
   EXPECT_EQ(Std(text), "67893456789");
}

TEST(CoreStringEdit, ReplacementShrinksTheBlockByTheRule) {
   corestring text(std::string(2000, 'x').c_str());
   text.Replace(10, 1980, "-");
   EXPECT_EQ(Std(text), std::string(10, 'x') + "-" + std::string(10, 'x'));
   EXPECT_EQ(text.Capacity(), 21U + 128U);
}

TEST(CoreStringEdit, ReplacesAll) {
   struct {
      const char *text, *find, *with;
      size_t start, count;
      const char *result;
   } const cases[] = {
      {"a.b.c", ".", "::", 0, 2, "a::b::c"}, {"a.b.c", ".", "::", 2, 1, "a.b::c"},
      {"a.b.c", ".", "", 0, 2, "abc"},       {"aaaaa", "aa", "a", 0, 2, "aaa"}, // goes on behind what was put in
      {"aaaa", "a", "aa", 0, 4, "aaaaaaaa"}, {"aaaa", "a", "", 0, 4, ""},
      {"abab", "ab", "ab", 0, 2, "abab"},    {"abc", "", "x", 0, 0, "abc"},
      {"abc", "x", "y", 0, 0, "abc"},        {"abc", "c", "x", 2, 1, "abx"},
      {"abc", "c", "x", 3, 0, "abc"},        {"abc", "c", "x", SIZE_MAX, 0, "abc"},
      {"abc", "abcd", "x", 0, 0, "abc"},     {"", "a", "b", 0, 0, ""},
   };
   for (const auto &each : cases) {
      corestring text(each.text);
      EXPECT_EQ(text.ReplaceAll(each.find, each.with, each.start), each.count) << each.text;
      EXPECT_EQ(Std(text), each.result);
      EXPECT_EQ(text.Data() == nullptr, *each.result == '\0');
   }
}

TEST(CoreStringEdit, ReplacesAllByPartsOfItself) {
   corestring text("a-b-c");
   EXPECT_EQ(text.ReplaceAll(text.Data() + 4, text.Data()), 1U);
   EXPECT_EQ(Std(text), "a-b-a-b-c");
}

TEST(CoreStringEdit, ReplacingAllStopsAtAZero) {
   corestring text("a.b\0c.d", 7);
   EXPECT_EQ(text.ReplaceAll(".", "::"), 1U);
   EXPECT_EQ(Std(text), std::string("a::b\0c.d", 8));
}

TEST(CoreStringEdit, ReplacesTenThousandPlaces) {
   std::string many;
   for (int i = 0; i < 10'000; ++i) {
      many += "ab";
   }
   corestring text(many.c_str());
   EXPECT_EQ(text.ReplaceAll("b", "xyz"), 10'000U);
   EXPECT_EQ(text.Length(), 40'000U);
   EXPECT_EQ(std::memcmp(text.Data() + 39'992, "axyzaxyz", 9), 0);
}

TEST(CoreStringEdit, Trims) {
   struct {
      const char *text, *set, *left, *right;
   } const cases[] = {
      {"  a b \t", " \t", "a b \t", "  a b"},
      {"abc", " ", "abc", "abc"},
      {"abc", "", "abc", "abc"},
      {"xyx", "xy", "", ""},
      {"", "x", "", ""},
   };
   for (const auto &each : cases) {
      corestring left(each.text);
      left.TrimLeft(each.set);
      EXPECT_EQ(Std(left), each.left);
      EXPECT_EQ(left.Data() == nullptr, *each.left == '\0');
      corestring right(each.text);
      right.TrimRight(each.set);
      EXPECT_EQ(Std(right), each.right);
      EXPECT_EQ(right.Data() == nullptr, *each.right == '\0');
   }
   corestring zero("a \0", 3);
   zero.TrimRight(" ");
   EXPECT_EQ(zero.Length(), 3U); // a zero is in no set
}

TEST(CoreStringEdit, Formats) {
   corestring text;
   text.Format("%s - %d%%", "abc", 7);
   EXPECT_EQ(Std(text), "abc - 7%");
   text.Format("[%s]", text.Text()); // its own argument
   EXPECT_EQ(Std(text), "[abc - 7%]");
   text.Format("%ls", L"\u00e4");
   EXPECT_EQ(Std(text), "\xC3\xA4");
   text.Format("a%cb", 0);
   EXPECT_EQ(Std(text), std::string("a\0b", 3));
   text.Format("%s", "");
   EXPECT_EQ(text.Data(), nullptr);
}

TEST(CoreStringEdit, FormatsTextsOfAnyLength) {
   for (const size_t length : {8190U, 8191U, 8192U, 8193U, 16383U, 16384U, 16385U, 1'000'000U}) {
      const std::string expected(length, 'x');
      corestring text("own");
      text.Format("%s%.0s", expected.c_str(), text.Text());
      EXPECT_EQ(Std(text), expected);
      text.Format("<%s>", text.Text());
      EXPECT_EQ(Std(text), "<" + expected + ">");
   }
}

TEST(CoreStringEdit, CutOfAStepAtACharacterOfSeveralBytesLosesNothing) {
   std::string expected(8190, 'x');
   for (int i = 0; i < 4; ++i) {
      expected += "\xF0\x9F\x98\x80";
      corestring text;
      text.Format("%s", expected.c_str());
      EXPECT_EQ(Std(text), expected);
   }
}

TEST(CoreStringEdit, ComparesByteByByte) {
   EXPECT_TRUE(corestring("abc") == corestring("abc"));
   EXPECT_FALSE(corestring("abc") == corestring("abd"));
   EXPECT_FALSE(corestring("abc") == corestring("ab"));
   EXPECT_FALSE(corestring("a\0b", 3) == corestring("a\0c", 3));
   EXPECT_FALSE(corestring("a\0b", 3) == "a");
   EXPECT_TRUE(corestring("abc") == "abc");
   EXPECT_TRUE(corestring() == corestring(""));
   EXPECT_TRUE(corestring() == "");
   EXPECT_FALSE(corestring() == "a");
}

} // namespace
