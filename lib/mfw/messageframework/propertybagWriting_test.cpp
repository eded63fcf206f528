// How bags change, operation by operation.

#include "lib/mfw/messageframework/propertybag.h"

#include "lib/mfw/messageframework/PropertyBagTestKit.h"

#include <climits>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace CORE {
namespace {

using namespace std::string_literals;

TEST(PropertyBagWriting, EachOperationChangesWhatItSays) {
   const PropertyBag inner("i=1", nullptr);
   const struct {
      const char *what;
      std::function<void(PropertyBag &)> change;
      std::string result; // of "a=1 b=2 A=3 c{}"
   } cases[] = {
      {"Add appends duplicates too", [](PropertyBag &bag) { bag.Add("A", "4"); }, "a=1 b=2 A=3 c{} A=4"},
      {"Add of nothing", [](PropertyBag &bag) { bag.Add(nullptr, nullptr); }, "a=1 b=2 A=3 c{} ="},
      {"AddBag", [&](PropertyBag &bag) { bag.AddBag("a", inner, true); }, "a=1 b=2 A=3 c{} a{i=1}"},
      {"AddBinary", [](PropertyBag &bag) { bag.AddBinary("a", "xyz", 2); }, "a=1 b=2 A=3 c{} a:xy"},
      {"Set changes the first only", [](PropertyBag &bag) { bag.Set("A", "4"); }, "a=4 b=2 A=3 c{}"},
      {"Set on a bag", [](PropertyBag &bag) { bag.Set("c", "4"); }, "a=1 b=2 A=3 c=4"},
      {"Set of a new one", [](PropertyBag &bag) { bag.Set("d", "4"); }, "a=1 b=2 A=3 c{} d=4"},
      {"Set to nothing", [](PropertyBag &bag) { bag.Set("a", nullptr); }, "a= b=2 A=3 c{}"},
      {"SetFirst stays in its place", [](PropertyBag &bag) { bag.SetFirst("B", "4"); }, "a=1 b=4 A=3 c{}"},
      {"SetFirst of a new one", [](PropertyBag &bag) { bag.SetFirst("d", "4"); }, "d=4 a=1 b=2 A=3 c{}"},
      {"SetFirst on a bag", [](PropertyBag &bag) { bag.SetFirst("c", "4"); }, "a=1 b=2 A=3 c=4"},
      {"SetBag on a text", [&](PropertyBag &bag) { bag.SetBag("A", inner, true); }, "a{i=1} b=2 A=3 c{}"},
      {"SetBag on a bag", [&](PropertyBag &bag) { bag.SetBag("c", inner, true); }, "a=1 b=2 A=3 c{i=1}"},
      {"SetBag of a new one", [&](PropertyBag &bag) { bag.SetBag("d", inner, true); }, "a=1 b=2 A=3 c{} d{i=1}"},
      {"SetBinary", [](PropertyBag &bag) { bag.SetBinary("a", "xyz", 2); }, "a:xy b=2 A=3 c{}"},
      {"SetBinary on a bag", [](PropertyBag &bag) { bag.SetBinary("c", "xyz", 2); }, "a=1 b=2 A=3 c:xy"},
      {"SetBinary of a new one", [](PropertyBag &bag) { bag.SetBinary("d", "xyz", 2); }, "a=1 b=2 A=3 c{} d:xy"},
      {"SetInt", [](PropertyBag &bag) { bag.SetInt("a", INT32_MIN); }, "a=-2147483648 b=2 A=3 c{}"},
      {"SetInt of a new one", [](PropertyBag &bag) { bag.SetInt("d", 7); }, "a=1 b=2 A=3 c{} d=7"},
      {"Increment", [](PropertyBag &bag) { bag.Increment("A"); }, "a=2 b=2 A=3 c{}"},
      {"Increment of a missing one", [](PropertyBag &bag) { bag.Increment("d"); }, "a=1 b=2 A=3 c{} d=1"},
      {"Increment of a bag", [](PropertyBag &bag) { bag.Increment("c"); }, "a=1 b=2 A=3 c{}"},
      {"Remove of the first", [](PropertyBag &bag) { bag.Remove("A", false); }, "b=2 A=3 c{}"},
      {"Remove of all", [](PropertyBag &bag) { bag.Remove("A", true); }, "b=2 c{}"},
      {"Remove of a missing one", [](PropertyBag &bag) { bag.Remove("d", true); }, "a=1 b=2 A=3 c{}"},
      {"Remove of a bag", [](PropertyBag &bag) { bag.Remove("c", true); }, "a=1 b=2 A=3"},
      {"RemoveAt", [](PropertyBag &bag) { bag.RemoveAt(1); }, "a=1 A=3 c{}"},
      {"RemoveAt of the last", [](PropertyBag &bag) { bag.RemoveAt(3); }, "a=1 b=2 A=3"},
      {"RemoveSecure of the first", [](PropertyBag &bag) { bag.RemoveSecure("A", false); }, "b=2 A=3 c{}"},
      {"RemoveSecure of all", [](PropertyBag &bag) { bag.RemoveSecure("A", true); }, "b=2 c{}"},
      {"RemoveSecure of a bag", [](PropertyBag &bag) { bag.RemoveSecure("c", false); }, "a=1 b=2 A=3"},
   };
   for (const auto &[what, change, result] : cases) {
      PropertyBag bag("a=1", "b=2", "A=3", nullptr);
      bag.AddBag("c", PropertyBag(), false);
      change(bag);
      EXPECT_EQ(Shown(bag), result) << what;
   }
}

TEST_F(PropertyBagTest, ASharedBagIsSeenByBothAndADeepOneIsNot) {
   for (const bool set : {false, true}) {
      PropertyBag inner("i=1", nullptr);
      PropertyBag outer;
      set ? outer.SetBag("shared", inner, false) : outer.AddBag("shared", inner, false);
      set ? outer.SetBag("deep", inner, true) : outer.AddBag("deep", inner, true);
      inner.Set("i", "2");
      EXPECT_EQ(Shown(outer), "shared{i=2} deep{i=1}");
   }
}

TEST_F(PropertyBagTest, AReplacedBagIsReleased) {
   for (const auto &replace : std::vector<std::function<void(PropertyBag &)>>{
           [](PropertyBag &outer) { outer.Set("bag", "1"); }, [](PropertyBag &outer) { outer.Remove("bag", true); },
           [](PropertyBag &outer) { outer.SetBag("bag", PropertyBag(), false); },
           [](PropertyBag &outer) { outer.RemoveAt(0); },
           [](PropertyBag &outer) {
              outer.Clear();
           }}) {
      PropertyBag inner("i=1", nullptr);
      PropertyBag outer;
      outer.AddBag("bag", inner, false);
      EXPECT_TRUE(inner.Body()->IsShared());
      replace(outer);
      EXPECT_FALSE(inner.Body()->IsShared());
      EXPECT_EQ(Shown(inner), "i=1");
   }
}

TEST_F(PropertyBagTest, SetsAValueFromItsOwnTexts) {
   bag.Set("text", bag.GetStringOrNull("text"));
   EXPECT_STREQ(bag.GetStringOrNull("text"), "value");
   bag.SetBinary("text", bag.GetStringOrNull("text") + 1, 3);
   EXPECT_EQ(Bytes("text"), "alu");
   bag.SetBag("bag", bag.GetBag("bag"), false);
   EXPECT_EQ(Shown(bag.GetBag("bag")), "inside=1");
   bag.Add("TEXT", "2");
   bag.Remove(bag.GetNameTextAt(0), true);
   EXPECT_FALSE(bag.Has("text"));
   bag.RemoveSecure(bag.GetNameTextAt(0), true);
   EXPECT_EQ(Shown(bag), "bag{inside=1} empty=");
}

TEST_F(PropertyBagTest, IncrementReadsRawNumbersAndNeverOverflows) {
   const struct {
      const char *before;
      const char *after;
   } cases[] = {{"0", "1"},
                {"-1", "0"},
                {"010", "9"}, // octal: not normalised here
                {"0x1F", "32"},
                {" 5", "6"},
                {"", "1"},
                {"word", "1"},
                {"9223372036854775806", "9223372036854775807"},
                {"9223372036854775807", "-9223372036854775808"},
                {"99999999999999999999", "-9223372036854775808"},
                {"-9223372036854775808", "-9223372036854775807"}};
   for (const auto &[before, after] : cases) {
      bag.Set("text", before);
      bag.Increment("text");
      EXPECT_STREQ(bag.GetStringOrNull("text"), after) << before;
   }
   bag.Increment("bytes");
   EXPECT_EQ(Bytes("bytes"), "a\0b"s);
}

TEST_F(PropertyBagTest, RemoveSecureWritesZerosOverNameAndValue) {
   bag.Add("text", "secret");
   PropertyBagEntry *const first = &bag.Body()->At(0);
   PropertyBagEntry *const second = &bag.Body()->At(4);
   first->AddRef();
   second->AddRef();
   const PropertyBagEntryRef heldFirst(first);
   const PropertyBagEntryRef heldSecond(second);
   bag.RemoveSecure("text", true);
   EXPECT_EQ(std::string(first->Name().Data(), 4), "\0\0\0\0"s);
   EXPECT_EQ(std::string(first->Value().Data(), 5), "\0\0\0\0\0"s);
   EXPECT_EQ(std::string(second->Value().Data(), 6), "\0\0\0\0\0\0"s);
   EXPECT_TRUE(first->HasName(PropertyBagName("\0\0\0\0"s))); // its copy of the name's start too
   EXPECT_FALSE(bag.Has("text"));
}

TEST_F(PropertyBagTest, RefusesSizesThatAHeaderCannotHold) {
   for (const size_t size : {size_t{1} << 31, (size_t{1} << 31) + 5, size_t{1} << 32, SIZE_MAX}) {
      EXPECT_EQ(MessageOf([&] { bag.AddBinary("new", "x", size); }), "PropertyBag: value is too long");
      EXPECT_EQ(MessageOf([&] { bag.SetBinary("text", "x", size); }), "PropertyBag: value is too long");
   }
   EXPECT_EQ(MessageOf([&] { bag.AddBinary("new", nullptr, 1); }), "PropertyBag: no data");
   EXPECT_EQ(MessageOf([&] { bag.SetBinary("text", nullptr, 1); }), "PropertyBag: no data");
   EXPECT_EQ(Shown(bag), "text=value bytes:a\0b bag{inside=1} empty="s);
}

TEST(PropertyBagName, EqualsInAnyCaseFromTheFirstByteToTheLast) {
   const PropertyBagName name("EightByt and more");
   EXPECT_TRUE(name == PropertyBagName("eIGHTbYT AND MORE"));
   EXPECT_FALSE(name == PropertyBagName("NightByt and more")) << "differs at once";
   EXPECT_FALSE(name == PropertyBagName("EightByt and mare")) << "differs behind the head";
   EXPECT_FALSE(name == PropertyBagName("EightByt and")) << "is shorter";
   EXPECT_FALSE(PropertyBagName("a") == PropertyBagName(std::string_view("a\0", 2)));
   EXPECT_TRUE(PropertyBagName("") == PropertyBagName(static_cast<const char *>(nullptr)));
}

TEST(PropertyBagName, TheHeadIsTheFirstEightBytesWithoutTheCaseOfLettersAndZerosBehind) {
   const std::string_view name("aBCdeFGh and more");
   const uint64_t heads[] = {0,
                             0x61,
                             0x6261,
                             0x636261,
                             0x64636261,
                             0x6564636261,
                             0x666564636261,
                             0x67666564636261,
                             0x6867666564636261,
                             0x6867666564636261};
   for (size_t size = 0; size < std::size(heads); ++size) {
      EXPECT_EQ(PropertyBagName(name.substr(0, size)).Head(), heads[size]) << size;
   }
}

TEST(PropertyBagName, NamesThatDifferInOneBitAreTwoWhereverItIs) {
   for (size_t size = 1; size <= 18; ++size) {
      const std::string name(size, '\xFF');
      for (size_t bit = 0; bit < 8 * size; ++bit) {
         std::string other = name;
         other[bit / 8] = static_cast<char>(0xFF & ~(1U << bit % 8));
         EXPECT_FALSE(PropertyBagName(name) == PropertyBagName(other)) << "bit " << bit << " of " << size << " bytes";
      }
   }
}

} // namespace
} // namespace CORE
