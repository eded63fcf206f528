// How bags are made and what they answer, operation by operation.

#include "lib/mfw/messageframework/propertybag.h"

#include "lib/mfw/messageframework/PropertyBagTestKit.h"

#include <climits>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>

namespace CORE {
namespace {

static_assert(std::is_base_of_v<coreref, PropertyBag>);

using namespace std::string_literals;

// ---- Construction ---------------------------------------------------------------------------------------------------

TEST_F(PropertyBagTest, IsMadeFromAListOfTexts) {
   EXPECT_EQ(Shown(PropertyBag()), "");
   EXPECT_EQ(Shown(PropertyBag("a=1", "b", "c=", "=d", "e=f=g", "A=2", "", nullptr)), "a=1 b= c= =d e=f=g A=2 =");
   EXPECT_EQ(Shown(PropertyBag(static_cast<const char *>(nullptr), nullptr)), "");
}

TEST_F(PropertyBagTest, IsMadeFromABody) {
   PropertyBag view(bag.Body());
   view.Set("text", "changed");
   EXPECT_STREQ(bag.GetStringOrNull("text"), "changed");
   EXPECT_EQ(PropertyBag(static_cast<PropertyBagBody *>(nullptr)).GetCount(), 0U);
}

TEST_F(PropertyBagTest, ACopyIsDeep) {
   PropertyBag copy(bag);
   EXPECT_EQ(Shown(copy), Shown(bag));
   EXPECT_TRUE(copy.IsBinary("bytes"));
   copy.Set("text", "changed");
   copy.GetBag("bag").Set("inside", "2");
   EXPECT_EQ(Shown(bag), "text=value bytes:a\0b bag{inside=1} empty="s);
}

TEST_F(PropertyBagTest, ACopyOfASecureTextIsSecure) {
   corestring secret("secret");
   secret.SetSecure();
   bag.Set("text", secret);
   EXPECT_TRUE(PropertyBag(bag).GetString("text").IsSecure());
}

TEST_F(PropertyBagTest, AssignIsSeenByEveryoneWhoSharesTheBody) {
   PropertyBag view;
   view.Share(bag);
   PropertyBag other("x=1", nullptr);
   bag.Assign(other);
   EXPECT_EQ(Shown(view), "x=1");
   other.Set("x", "2");
   EXPECT_EQ(Shown(view), "x=1");
   bag = other;
   EXPECT_EQ(Shown(view), "x=2");
}

TEST_F(PropertyBagTest, AssignFromItselfOrFromAPartKeepsWhatIsAssigned) {
   const std::string before = Shown(bag);
   PropertyBag view;
   view.Share(bag);
   bag.Assign(view);
   EXPECT_EQ(Shown(bag), before);
   bag.Assign(bag.GetBag("bag"));
   EXPECT_EQ(Shown(bag), "inside=1");
}

TEST_F(PropertyBagTest, SharesAnotherBody) {
   PropertyBag view("gone=1", nullptr);
   PropertyBag former;
   former.Share(view);
   view.Share(bag);
   view.Set("text", "changed");
   EXPECT_STREQ(bag.GetStringOrNull("text"), "changed");
   EXPECT_EQ(Shown(former), "gone=1");
   view.Share(view);
   EXPECT_EQ(view.GetCount(), 4U);
}

TEST_F(PropertyBagTest, SharesABodyByItsName) {
   PropertyBag view;
   view.Share(bag, "BAG");
   view.Set("inside", "2");
   EXPECT_STREQ(bag.GetBag("bag").GetStringOrNull("inside"), "2");
   view.Share(bag, "");
   EXPECT_EQ(view.Body(), bag.Body());
   view.Share(PropertyBag(), nullptr);
   EXPECT_EQ(view.GetCount(), 0U);
}

TEST_F(PropertyBagTest, SharingANameThatIsNoBagTakesANewEmptyBodyAndReleasesTheOldOne) {
   for (const char *const name : {"missing", "text", "bytes"}) {
      PropertyBag former("kept=1", nullptr);
      PropertyBag view;
      view.Share(former);
      EXPECT_TRUE(former.Body()->IsShared());
      view.Share(bag, name);
      EXPECT_FALSE(former.Body()->IsShared()) << name;
      EXPECT_EQ(view.GetCount(), 0U) << name;
      view.Set("mine", "1");
      EXPECT_EQ(bag.GetCount(), 4U) << name;
   }
}

TEST_F(PropertyBagTest, SharesAPartOfItself) {
   bag.Share(bag, "bag");
   EXPECT_EQ(Shown(bag), "inside=1");
}

TEST_F(PropertyBagTest, DetachGivesUpASharedBody) {
   for (const bool keep : {true, false}) {
      PropertyBag view;
      view.Share(bag);
      view.Detach(keep);
      EXPECT_NE(view.Body(), bag.Body());
      EXPECT_EQ(Shown(view), keep ? Shown(bag) : "");
      EXPECT_EQ(bag.GetCount(), 4U);
   }
}

TEST_F(PropertyBagTest, DetachKeepsABodyOfItsOwn) {
   const PropertyBagBody *const body = bag.Body();
   bag.Detach(true);
   EXPECT_EQ(bag.Body(), body);
   EXPECT_EQ(bag.GetCount(), 4U);
   bag.Detach(false);
   EXPECT_EQ(bag.Body(), body);
   EXPECT_EQ(bag.GetCount(), 0U);
}

TEST_F(PropertyBagTest, ClearEmptiesAllWhoShareTheBody) {
   PropertyBag view;
   view.Share(bag);
   view.Clear();
   EXPECT_EQ(bag.GetCount(), 0U);
   bag.Add("again", "1");
   EXPECT_EQ(Shown(view), "again=1");
}

TEST_F(PropertyBagTest, IsCountedByReference) {
   auto *const counted = new PropertyBag(bag.Body());
   EXPECT_EQ(counted->GetRefCount(), 1);
   EXPECT_EQ(counted->AddRef(), 2);
   EXPECT_EQ(counted->Release(), 1);
   EXPECT_TRUE(bag.Body()->IsShared());
   EXPECT_EQ(counted->Release(), 0);
   EXPECT_FALSE(bag.Body()->IsShared());
   EXPECT_EQ(MessageOf([] {
                PropertyBag held;
                held.AddRef();
             }),
             "Delete of object with RefCount");
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST_F(PropertyBagTest, TellsTheKindsApart) {
   const struct {
      const char *name;
      bool has, isBag, isBinary;
   } cases[] = {{"text", true, false, false},  {"bytes", true, false, true},     {"bag", true, true, false},
                {"empty", true, false, false}, {"missing", false, false, false}, {"", false, false, false},
                {nullptr, false, false, false}};
   for (const auto &[name, has, isBag, isBinary] : cases) {
      EXPECT_EQ(bag.Has(name), has) << name;
      EXPECT_EQ(bag.IsBag(name), isBag) << name;
      EXPECT_EQ(bag.IsBinary(name), isBinary) << name;
   }
   for (size_t index = 0; index < 4; ++index) {
      EXPECT_EQ(bag.IsBagAt(index), index == 2) << index;
      EXPECT_EQ(bag.IsBinaryAt(index), index == 1) << index;
   }
}

TEST_F(PropertyBagTest, NamesCompareWithoutTheCaseOfAsciiLetters) {
   EXPECT_TRUE(bag.Has("TEXT"));
   EXPECT_FALSE(bag.Has("tex"));
   EXPECT_FALSE(bag.Has("text "));
   bag.Add("A name of more than eight bytes", "1");
   EXPECT_TRUE(bag.Has("a NAME of more than eight BYTES"));
   EXPECT_FALSE(bag.Has("a NAME of more than eight BYTEs!"));
   EXPECT_FALSE(bag.Has("a NAME of more than eighteBYTES"));
   bag.Add("\xC3\x89t\xC3\xA9", "1"); // capital and small letters beyond ASCII
   EXPECT_TRUE(bag.Has("\xC3\x89T\xC3\xA9"));
   EXPECT_FALSE(bag.Has("\xC3\xA9t\xC3\xA9"));
   EXPECT_STREQ(bag.GetNameTextAt(5), "\xC3\x89t\xC3\xA9");
}

TEST_F(PropertyBagTest, ANullNameIsTheEmptyName) {
   bag.Add(nullptr, "nameless");
   EXPECT_STREQ(bag.GetStringOrNull(""), "nameless");
   EXPECT_STREQ(bag.GetStringOrNull(nullptr), "nameless");
   EXPECT_STREQ(bag.GetNameTextAt(4), "");
   bag.Set(nullptr, "changed");
   EXPECT_EQ(bag.GetCount(), 5U);
   EXPECT_STREQ(bag.GetStringOrNull(""), "changed");
}

TEST_F(PropertyBagTest, GivesTexts) {
   bag.Add("text", "second");
   EXPECT_TRUE(bag.GetString("text") == "value");
   EXPECT_TRUE(bag.GetString("text", "default") == "value");
   EXPECT_TRUE(bag.GetString("text", corestring("default")) == "value");
   EXPECT_TRUE(bag.GetString("empty", "default") == "");
   EXPECT_EQ(bag.GetString("bytes", "default").BinarySize(), 3U);
   for (const char *const name : {"bag", "missing"}) {
      EXPECT_TRUE(bag.GetString(name, "default") == "default");
      EXPECT_TRUE(bag.GetString(name).IsEmpty());
      corestring secret("default");
      secret.SetSecure();
      EXPECT_TRUE(bag.GetString(name, secret).IsSecure()); // unchanged
      EXPECT_EQ(bag.GetStringOrNull(name), nullptr);
   }
   EXPECT_STREQ(bag.GetStringOrNull("text"), "value");
   EXPECT_STREQ(bag.GetStringOrNull("empty"), "");
   EXPECT_TRUE(bag.GetStringOrThrow("text") == "value");
   EXPECT_TRUE(bag.GetStringAt(0) == "value");
   EXPECT_STREQ(bag.GetStringTextAt(0), "value");
   EXPECT_TRUE(bag.GetNameAt(0) == "text");
   EXPECT_STREQ(bag.GetNameTextAt(0), "text");
}

TEST_F(PropertyBagTest, SaysWhatDoesNotExist) {
   EXPECT_EQ(MessageOf([&] { static_cast<void>(bag.GetStringOrThrow("missing")); }),
             "PropertyBag: name 'missing' does not exist as string");
   EXPECT_EQ(MessageOf([&] { static_cast<void>(bag.GetStringOrThrow("Bag")); }),
             "PropertyBag: name 'Bag' does not exist as string");
   EXPECT_EQ(MessageOf([&] { static_cast<void>(bag.GetStringOrThrow(nullptr)); }),
             "PropertyBag: name '' does not exist as string");
   for (const char *const name : {"missing", "text", "bytes"}) {
      EXPECT_EQ(MessageOf([&] { static_cast<void>(bag.GetBagOrThrow(name)); }),
                "PropertyBag: name '"s + name + "' does not exist as bag");
   }
   EXPECT_EQ(MessageOf([&] { static_cast<void>(bag.GetStringAt(2)); }), "PropertyBag: index is not a string");
   EXPECT_EQ(MessageOf([&] { static_cast<void>(bag.GetStringTextAt(2)); }), "PropertyBag: index is not a string");
   for (const size_t index : {size_t{0}, size_t{1}, size_t{4}, SIZE_MAX}) {
      EXPECT_EQ(MessageOf([&] { static_cast<void>(bag.GetBagAtOrThrow(index)); }),
                "PropertyBag: index is out of range or not a bag")
         << index;
   }
}

TEST_F(PropertyBagTest, EveryOperationByIndexRefusesOneOutOfRange) {
   const struct {
      const char *operation;
      std::function<void(size_t)> call;
   } cases[] = {
      {"IsBagAt",
       [&](size_t at) {
          static_cast<void>(bag.IsBagAt(at));
       }},
      {"IsBinaryAt",
       [&](size_t at) {
          static_cast<void>(bag.IsBinaryAt(at));
       }},
      {"GetNameAt",
       [&](size_t at) {
          static_cast<void>(bag.GetNameAt(at));
       }},
      {"GetNameTextAt",
       [&](size_t at) {
          static_cast<void>(bag.GetNameTextAt(at));
       }},
      {"GetStringAt",
       [&](size_t at) {
          static_cast<void>(bag.GetStringAt(at));
       }},
      {"GetStringTextAt",
       [&](size_t at) {
          static_cast<void>(bag.GetStringTextAt(at));
       }},
      {"GetBinaryAt",
       [&](size_t at) {
          BytesAt(at);
       }},
      {"GetBagAt",
       [&](size_t at) {
          static_cast<void>(bag.GetBagAt(at));
       }},
      {"RemoveAt",
       [&](size_t at) {
          bag.RemoveAt(at);
       }},
   };
   for (const auto &[operation, call] : cases) {
      for (const size_t index : {size_t{4}, size_t{5}, SIZE_MAX}) {
         EXPECT_EQ(MessageOf([&, &run = call] { run(index); }), "PropertyBag: index is out of range") << operation;
      }
   }
   EXPECT_EQ(bag.GetCount(), 4U);
   bag.Clear();
   EXPECT_EQ(MessageOf([&] { bag.RemoveAt(0); }), "PropertyBag: index is out of range");
}

TEST_F(PropertyBagTest, GivesBytes) {
   bag.Add("ab", "ab");
   EXPECT_EQ(Bytes("bytes"), "a\0b"s);
   EXPECT_EQ(Bytes("ab"), "ab\0"s);
   EXPECT_EQ(Bytes("empty"), "\0"s);
   EXPECT_EQ(Bytes("bag"), "null 0");
   EXPECT_EQ(Bytes("missing"), "null 0");
   EXPECT_EQ(BytesAt(1), "a\0b"s);
   for (const size_t index : {size_t{0}, size_t{2}, size_t{3}}) {
      EXPECT_EQ(BytesAt(index), "null 0") << index;
   }
}

TEST_F(PropertyBagTest, NoBytesMakeAStringEntry) {
   bag.AddBinary("none", "x", 0);
   bag.AddBinary("null", nullptr, 0);
   bag.SetBinary("bytes", "x", 0);
   for (const char *const name : {"none", "null", "bytes"}) {
      EXPECT_FALSE(bag.IsBinary(name)) << name;
      EXPECT_STREQ(bag.GetStringOrNull(name), "") << name;
   }
}

TEST_F(PropertyBagTest, GivesTruthValues) {
   const PropertyBag values("true=True", "word=truest", "blank= yes", "octal=010", "hex=0x10", "zero=0",
                            "none=", nullptr);
   for (const bool other : {false, true}) {
      EXPECT_TRUE(values.GetBool("true", other));
      EXPECT_TRUE(values.GetBool("octal", other));
      EXPECT_TRUE(values.GetBool("hex", other));
      EXPECT_FALSE(values.GetBool("word", other));
      EXPECT_FALSE(values.GetBool("blank", other));
      EXPECT_FALSE(values.GetBool("zero", other));
      EXPECT_FALSE(values.GetBool("none", other));
      EXPECT_EQ(values.GetBool("missing", other), other);
      EXPECT_EQ(bag.GetBool("bag", other), other);
   }
   EXPECT_TRUE(PropertyBag::ToBool("ON"));
   EXPECT_FALSE(PropertyBag::ToBool(corestring()));
}

TEST_F(PropertyBagTest, GivesNumbers) {
   const PropertyBag values("padded= 010 ", "hex=0x1F", "word=seven", "none=", "low=4294967301", "high=4294967295",
                            "huge=99999999999999999999", nullptr);
   const struct {
      const char *name;
      int32_t value;
      int64_t value64;
   } cases[] = {{"padded", 10, 10},  {"hex", 31, 31},        {"word", 0, 0},           {"none", 0, 0},
                {"missing", 77, 77}, {"low", 5, 4294967301}, {"high", -1, 4294967295}, {"huge", -1, INT64_MAX}};
   for (const auto &[name, value, value64] : cases) {
      EXPECT_EQ(values.GetInt(name, 77), value) << name;
      EXPECT_EQ(values.GetInt64(name, 77), value64) << name;
   }
   EXPECT_EQ(bag.GetInt("bag", -3), -3);
   EXPECT_EQ(bag.GetInt64("bag", INT64_MIN), INT64_MIN);
   EXPECT_EQ(bag.GetInt("bytes", -3), 0);
   EXPECT_EQ(values.GetInt("missing"), 0);
}

TEST_F(PropertyBagTest, GivesBags) {
   bag.GetBag("bag").Set("inside", "2");
   EXPECT_STREQ(bag.GetBagAt(2).GetStringOrNull("inside"), "2");
   for (const char *const name : {"text", "bytes", "missing"}) {
      PropertyBag none = bag.GetBag(name);
      none.Set("mine", "1");
      EXPECT_EQ(Shown(none), "mine=1") << name;
   }
   EXPECT_EQ(bag.GetBagAt(0).GetCount(), 0U);
   EXPECT_EQ(Shown(bag), "text=value bytes:a\0b bag{inside=2} empty="s);
}

TEST_F(PropertyBagTest, GivesBagsAllocatedForTheCaller) {
   const BagPointer byName(bag.GetBagOrThrow("bag"));
   const BagPointer byIndex(bag.GetBagAtOrThrow(2));
   EXPECT_EQ(byName->GetRefCount(), 1);
   EXPECT_EQ(byIndex->GetRefCount(), 1);
   byName->Set("inside", "2");
   EXPECT_STREQ(byIndex->GetStringOrNull("inside"), "2");
   bag.Clear();
   EXPECT_EQ(Shown(*byName), "inside=2");
}

TEST_F(PropertyBagTest, FindsOneAfterTheOther) {
   PropertyBag list("a=1", "b=2", "A=3", nullptr);
   list.AddBag("a", bag, true);
   corestring value("as it was");
   std::string found;
   for (size_t next = 0; (next = list.FindNext("a", value, next)) != 0;) {
      found += std::to_string(next) + ":" + value.Text() + " ";
   }
   EXPECT_EQ(found, "1:1 3:3 4: ");
   value = "as it was";
   for (const size_t start : {size_t{4}, size_t{5}, SIZE_MAX}) {
      EXPECT_EQ(list.FindNext("a", value, start), 0U);
   }
   EXPECT_EQ(list.FindNext("missing", value, 0), 0U);
   EXPECT_TRUE(value == "as it was");
}

TEST_F(PropertyBagTest, FindsBagsOneAfterTheOther) {
   PropertyBag list("a=text", nullptr);
   list.AddBag("b", PropertyBag("x=0", nullptr), true);
   list.AddBag("A", PropertyBag("x=1", nullptr), true);
   list.AddBag("a", PropertyBag("x=2", nullptr), true);
   PropertyBag found;
   EXPECT_EQ(list.FindNextBag("a", found, 0), 3U);
   found.Set("x", "changed");
   EXPECT_EQ(list.FindNextBag("a", found, 3), 4U);
   EXPECT_EQ(Shown(found), "x=2");
   EXPECT_EQ(list.FindNextBag("a", found, 4), 0U);
   EXPECT_EQ(list.FindNextBag("a", found, SIZE_MAX), 0U);
   EXPECT_EQ(Shown(found), "x=2");
   EXPECT_EQ(Shown(list), "a=text b{x=0} A{x=changed} a{x=2}");

   PropertyBag *allocated = nullptr;
   EXPECT_EQ(list.FindNextBag("a", allocated, 3), 4U);
   const BagPointer owned(allocated);
   ASSERT_NE(allocated, nullptr);
   EXPECT_EQ(allocated->GetRefCount(), 1);
   EXPECT_EQ(Shown(*allocated), "x=2");
   EXPECT_EQ(list.FindNextBag("a", allocated, 4), 0U);
   EXPECT_EQ(allocated, nullptr);

   EXPECT_EQ(list.FindNextBag("b", list, 0), 2U); // into the bag that is looked through
   EXPECT_EQ(Shown(list), "x=0");
}

} // namespace
} // namespace CORE
