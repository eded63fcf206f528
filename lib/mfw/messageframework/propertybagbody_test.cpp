// What holds bags together: sharing without cycles, any depth, any width, several threads.

#include "lib/mfw/messageframework/propertybagbody.h"

#include "lib/mfw/messageframework/propertybag.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace CORE {
namespace {

constexpr int kDeep = 100'000;
constexpr int kWide = 100'000;

// bag{bag{...{leaf=VALUE}}}
PropertyBag Nested(int depth, const char *value) {
   PropertyBag bag;
   bag.Add("leaf", value);
   for (int level = 0; level < depth; ++level) {
      PropertyBag outer;
      outer.AddBag("bag", bag, false);
      bag.Share(outer);
   }
   return PropertyBag(bag.Body()); // by sharing, for a copy would be deep
}

int DepthOf(const PropertyBag &bag) {
   PropertyBag at(bag.Body());
   int depth = 0;
   while (at.IsBag("bag")) {
      at.Share(at, "bag");
      ++depth;
   }
   return at.Has("leaf") ? depth : -1;
}

TEST(PropertyBagBody, TenLevelsAreReadByTheirNames) {
   PropertyBag bag = Nested(10, "here");
   PropertyBag at(bag.Body());
   for (int level = 0; level < 10; ++level) {
      at.Share(at, "BAG");
   }
   EXPECT_STREQ(at.GetStringOrNull("leaf"), "here");
   PropertyBag copy(bag);
   EXPECT_TRUE(copy == bag);
   at.Set("leaf", "changed");
   EXPECT_TRUE(bag == Nested(10, "changed"));
   EXPECT_TRUE(copy == Nested(10, "here"));
   EXPECT_EQ(DepthOf(copy), 10);
}

TEST(PropertyBagBody, AnyDepthIsCopiedComparedAndReleasedOnASmallStack) {
   PropertyBag bag = Nested(kDeep, "here");
   PropertyBag copy(bag);
   EXPECT_EQ(DepthOf(copy), kDeep);
   EXPECT_TRUE(copy.Equals(bag, true, true));
   EXPECT_TRUE(copy.Equals(bag, true, false));
   EXPECT_FALSE(bag == Nested(kDeep, "there"));
   EXPECT_FALSE(bag == Nested(kDeep - 1, "here"));
   bag.Set("bag", "gone"); // releases the tower under an entry that stays
   copy.Clear();
}

TEST(PropertyBagBody, ATowerBuiltFromItsTopIsReleasedToo) {
   PropertyBag bag;
   PropertyBag at(bag.Body());
   for (int level = 0; level < kDeep; ++level) {
      at.AddBag("bag", PropertyBag(), false);
      at.Share(at, "bag");
   }
   at.Add("leaf", "here");
   EXPECT_EQ(DepthOf(bag), kDeep);
}

TEST(PropertyBagBody, AHeldEntryKeepsItsBagWhenTheBodyGoes) {
   PropertyBagEntryRef held;
   {
      const PropertyBag bag = Nested(kDeep, "here");
      bag.Body()->At(0).AddRef();
      held.reset(&bag.Body()->At(0));
   }
   ASSERT_TRUE(held->IsBag());
   EXPECT_EQ(DepthOf(PropertyBag(held->Bag())), kDeep - 1);
}

TEST(PropertyBagBody, ABagPutIntoItselfIsPutThereAsACopy) {
   PropertyBag bag("a=1", nullptr);
   bag.AddBag("me", bag, false);
   bag.SetBag("me too", bag, false);
   bag.Set("a", "2");
   EXPECT_STREQ(bag.GetBag("me").GetStringOrNull("a"), "1");
   EXPECT_EQ(bag.GetBag("me").GetCount(), 1U);
   EXPECT_EQ(bag.GetBag("me too").GetCount(), 2U);
   EXPECT_TRUE(bag == PropertyBag(bag));
}

TEST(PropertyBagBody, ABagPutIntoOneThatItHoldsIsPutThereAsACopy) {
   PropertyBag top("a=1", nullptr);
   PropertyBag middle;
   PropertyBag bottom;
   top.AddBag("middle", middle, false);
   middle.AddBag("bottom", bottom, false);
   bottom.SetBag("top", top, false);
   top.Set("a", "2");
   EXPECT_STREQ(bottom.GetBag("top").GetStringOrNull("a"), "1");
   EXPECT_EQ(bottom.GetBag("top").GetBag("middle").GetBag("bottom").GetCount(), 0U);
   middle.SetBag("bottom", middle, false); // in the place of what it holds
   EXPECT_TRUE(top == PropertyBag(top));
}

TEST(PropertyBagBody, OneBagInTwoPlacesOfAnotherStaysShared) {
   PropertyBag part("a=1", nullptr);
   PropertyBag left;
   PropertyBag right;
   PropertyBag top;
   left.AddBag("part", part, false);
   right.AddBag("part", part, false);
   top.AddBag("left", left, false);
   top.AddBag("right", right, false);
   left.AddBag("right", right, false); // no cycle: right does not hold left
   part.Set("a", "2");
   EXPECT_STREQ(top.GetBag("left").GetBag("right").GetBag("part").GetStringOrNull("a"), "2");
   EXPECT_STREQ(top.GetBag("right").GetBag("part").GetStringOrNull("a"), "2");
}

// Two to the power of 64 ways lead through it.
PropertyBag Lattice() {
   PropertyBag bag("a=1", nullptr);
   for (int level = 0; level < 64; ++level) {
      PropertyBag outer;
      outer.AddBag("left", bag, false);
      outer.AddBag("right", bag, false);
      bag.Share(outer);
   }
   return PropertyBag(bag.Body());
}

TEST(PropertyBagBody, LooksForItselfInEachBodyOnce) {
   PropertyBag bag(Lattice().Body());
   PropertyBag target;
   const PropertyBag alsoTarget(target.Body());
   target.AddBag("bag", bag, false);
   EXPECT_EQ(target.GetBag("bag").Body(), bag.Body());
}

TEST(PropertyBagBody, ComparesSharedBodiesOnce) {
   const PropertyBag left(Lattice().Body());
   const PropertyBag right(Lattice().Body());
   for (const bool ordered : {false, true}) {
      EXPECT_TRUE(left.Equals(left, true, ordered));
      EXPECT_TRUE(left.Equals(right, true, ordered));
   }
   PropertyBag deepest;
   for (deepest.Share(right); deepest.IsBag("left"); deepest.Share(deepest, "left")) {
   }
   deepest.Set("a", "2");
   EXPECT_FALSE(left == right);
}

TEST(PropertyBagBody, AHundredThousandEntriesKeepTheirOrder) {
   PropertyBag bag;
   for (int number = 0; number < kWide; ++number) {
      bag.Add(std::to_string(number).c_str(), std::to_string(-number).c_str());
   }
   ASSERT_EQ(bag.GetCount(), size_t{kWide});
   for (int number = 0; number < kWide; ++number) {
      ASSERT_STREQ(bag.GetNameTextAt(static_cast<size_t>(number)), std::to_string(number).c_str());
   }
   EXPECT_EQ(bag.GetInt("99999"), -99999);
   PropertyBag copy(bag);
   EXPECT_TRUE(copy == bag);
   EXPECT_TRUE(copy.Equals(bag, true, true));
   copy.RemoveAt(0);
   copy.SetFirst("first", "1");
   EXPECT_FALSE(copy == bag);
   for (size_t index = 0; index < copy.GetCount(); index += 2) {
      copy.Body()->At(index).SetValue("even");
   }
   bag.Clear();
   EXPECT_EQ(copy.GetInt("99999"), -99999);
}

TEST(PropertyBagBody, RemovesAllOfManyInOnePass) {
   PropertyBag bag;
   for (int number = 0; number < kWide; ++number) {
      bag.Add(number % 2 == 0 ? "even" : std::to_string(number).c_str(), "x");
   }
   bag.Remove("even", true);
   ASSERT_EQ(bag.GetCount(), size_t{kWide} / 2);
   for (size_t index = 0; index < bag.GetCount(); ++index) {
      ASSERT_STREQ(bag.GetNameTextAt(index), std::to_string(2 * index + 1).c_str());
   }
}

TEST(PropertyBagBody, NamesWithSharedStartsAreToldApart) {
   PropertyBag bag;
   for (const char *const name : {"", "a", "abcdefg", "abcdefgh", "abcdefghi", "abcdefghj", "abcdefg\xFF"}) {
      bag.Add(name, name);
   }
   for (size_t index = 0; index < bag.GetCount(); ++index) {
      EXPECT_STREQ(bag.GetStringOrNull(bag.GetNameTextAt(index)), bag.GetNameTextAt(index));
   }
   const corestring zeros("a\0", 2); // a name is all its bytes
   bag.Add(zeros, "with a zero");
   EXPECT_STREQ(bag.GetStringOrNull("a"), "a");
}

TEST(PropertyBagBodyStress, ThreadsReadOneBodyAndShareItsParts) {
   const PropertyBag bag = Nested(10, "here");
   std::vector<std::thread> threads;
   for (int count = 0; count < 4; ++count) {
      threads.emplace_back([&bag] {
         for (int round = 0; round < 2000; ++round) {
            PropertyBag at(bag.Body());
            while (at.IsBag("bag")) {
               at.Share(at, "bag");
            }
            PropertyBag mine;
            mine.AddBag("theirs", bag, false);
            mine.AddBag("copy", at, true);
            EXPECT_STREQ(mine.GetBag("copy").GetStringOrNull("leaf"), "here");
         }
      });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   EXPECT_FALSE(bag.Body()->IsShared());
}

TEST(PropertyBagBody, ReleaseTellsHowManyReferencesAreLeft) {
   PropertyBagBodyRef body = PropertyBagBody::Create();
   EXPECT_EQ(body->AddRef(), 2);
   EXPECT_EQ(body->AddRef(), 3);
   EXPECT_EQ(body->Release(), 2);
   EXPECT_EQ(body->Release(), 1);
   EXPECT_EQ(body.release()->Release(), 0);
   PropertyBagEntryRef entry = PropertyBagEntry::Create(corestring("name", 4), corestring("value", 5));
   EXPECT_EQ(entry->AddRef(), 2);
   EXPECT_EQ(entry->AddRef(), 3);
   EXPECT_EQ(entry->Release(), 2);
   EXPECT_EQ(entry->Release(), 1);
   EXPECT_EQ(entry.release()->Release(), 0);
}

TEST(PropertyBagBodyStress, TheLastOfSeveralThreadsReleasesTheBody) {
   for (int round = 0; round < 300; ++round) {
      auto *const bag = new PropertyBag;
      bag->Share(Nested(20, "here"));
      std::vector<std::thread> threads;
      for (int count = 0; count < 3; ++count) {
         threads.emplace_back([view = std::make_unique<PropertyBag>(bag->Body())]() mutable { view.reset(); });
      }
      bag->Release();
      for (std::thread &thread : threads) {
         thread.join();
      }
   }
}

} // namespace
} // namespace CORE
