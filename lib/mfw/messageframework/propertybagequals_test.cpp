// When two bags are equal, in the four forms, and in which direction.

#include "lib/mfw/messageframework/propertybag.h"

#include <gtest/gtest.h>
#include <string>

namespace CORE {
namespace {

struct Form {
   bool caseSensitive;
   bool ordered;
};
constexpr Form kForms[] = {{false, false}, {true, false}, {false, true}, {true, true}};

// The forms in which left equals right: a mark in each place of kForms.
std::string Equal(const PropertyBag &left, const PropertyBag &right) {
   std::string marks;
   for (const auto &[caseSensitive, ordered] : kForms) {
      marks += left.Equals(right, caseSensitive, ordered) ? 'y' : 'n';
   }
   EXPECT_EQ(left == right, marks[0] == 'y');
   EXPECT_EQ(left != right, marks[0] == 'n');
   return marks;
}

TEST(PropertyBagEquals, TextsInFourForms) {
   const struct {
      PropertyBag left, right;
      const char *forms;
   } cases[] = {
      {PropertyBag(), PropertyBag(), "yyyy"},
      {PropertyBag("a=1", nullptr), PropertyBag(), "nnnn"},
      {PropertyBag("a=1", nullptr), PropertyBag("a=1", "b=2", nullptr), "nnnn"},
      {PropertyBag("a=1", "b=2", nullptr), PropertyBag("a=1", "b=2", nullptr), "yyyy"},
      {PropertyBag("a=1", "b=2", nullptr), PropertyBag("b=2", "a=1", nullptr), "yynn"},
      {PropertyBag("a=x", nullptr), PropertyBag("A=x", nullptr), "yyyy"}, // names never by case
      {PropertyBag("a=x", nullptr), PropertyBag("a=X", nullptr), "ynyn"},
      {PropertyBag("a=x", "b=y", nullptr), PropertyBag("b=Y", "a=x", nullptr), "ynnn"},
      {PropertyBag("a=x", nullptr), PropertyBag("b=x", nullptr), "nnnn"},
      {PropertyBag("a=x", nullptr), PropertyBag("a=xx", nullptr), "nnnn"},
      {PropertyBag("a=", nullptr), PropertyBag("a", nullptr), "yyyy"},
      {PropertyBag("a=\xC3\x89", nullptr), PropertyBag("a=\xC3\xA9", nullptr), "nnnn"}, // case is ASCII's
   };
   for (const auto &[left, right, forms] : cases) {
      EXPECT_EQ(Equal(left, right), forms);
      EXPECT_EQ(Equal(right, left), forms);
   }
}

TEST(PropertyBagEquals, WithDuplicateNamesUnorderedTakesTheFirstMatchAndHoldsInOneDirectionOnly) {
   const PropertyBag twice("a=1", "a=1", nullptr);
   const PropertyBag both("a=1", "a=2", nullptr);
   EXPECT_EQ(Equal(twice, both), "yynn");
   EXPECT_EQ(Equal(both, twice), "nnnn");
   EXPECT_EQ(Equal(both, both), "nnyy"); // a=2 meets a=1
   EXPECT_EQ(Equal(both, PropertyBag("a=2", "a=1", nullptr)), "nnnn");
}

TEST(PropertyBagEquals, BytesEqualBytesOnly) {
   PropertyBag bytes;
   bytes.AddBinary("a", "x\0y", 3);
   PropertyBag same(bytes);
   PropertyBag other;
   other.AddBinary("a", "x\0z", 3);
   PropertyBag shorter;
   shorter.AddBinary("a", "x\0", 2);
   PropertyBag capital;
   capital.AddBinary("a", "X\0Y", 3);
   PropertyBag abc;
   abc.AddBinary("a", "abc", 3);
   EXPECT_EQ(Equal(bytes, same), "yyyy");
   for (const PropertyBag *const different : {&other, &shorter, &capital}) {
      EXPECT_EQ(Equal(bytes, *different), "nnnn");
      EXPECT_EQ(Equal(*different, bytes), "nnnn");
   }
   EXPECT_EQ(Equal(abc, PropertyBag("a=abc", nullptr)), "nnnn");
   EXPECT_EQ(Equal(PropertyBag("a=abc", nullptr), abc), "nnnn");
}

TEST(PropertyBagEquals, BagsWithinCompareByTheSameRules) {
   const auto outer = [](const char *first, const char *second) {
      PropertyBag bag;
      bag.AddBag("bag", PropertyBag(first, second, nullptr), true);
      return bag;
   };
   EXPECT_EQ(Equal(outer("a=x", "b=y"), outer("a=x", "b=y")), "yyyy");
   EXPECT_EQ(Equal(outer("a=x", "b=y"), outer("b=y", "a=x")), "yynn");
   EXPECT_EQ(Equal(outer("a=x", "b=y"), outer("a=X", "b=y")), "ynyn");
   EXPECT_EQ(Equal(outer("a=x", "b=y"), PropertyBag("bag=", nullptr)), "nnnn");
   EXPECT_EQ(Equal(PropertyBag("bag=", nullptr), outer("a=x", "b=y")), "nnnn");
   PropertyBag bytes;
   bytes.AddBinary("bag", "x", 1);
   EXPECT_EQ(Equal(bytes, outer("a=x", "b=y")), "nnnn");
}

// Large enough that names are looked up in another way.
TEST(PropertyBagEquals, LargeBagsCompareAsSmallOnesDo) {
   PropertyBag left;
   PropertyBag right;
   for (int number = 0; number < 1000; ++number) {
      const std::string forth = "Entry with number " + std::to_string(number);
      const std::string back = "entry with number " + std::to_string(999 - number);
      left.Add(forth.c_str(), std::to_string(number).c_str());
      right.Add(back.c_str(), std::to_string(999 - number).c_str());
   }
   EXPECT_EQ(Equal(left, right), "yynn");
   EXPECT_EQ(Equal(left, left), "yyyy");
   right.Set("Entry with number 500", "x");
   EXPECT_EQ(Equal(left, right), "nnnn");
   left.Set("Entry with number 500", "X");
   EXPECT_EQ(Equal(left, right), "ynnn");
   left.Add("entry WITH number 7", "7"); // each has it twice now
   right.Add("entry WITH number 7", "other");
   EXPECT_EQ(Equal(left, right), "ynnn");
   EXPECT_EQ(Equal(right, left), "nnnn");
}

} // namespace
} // namespace CORE
