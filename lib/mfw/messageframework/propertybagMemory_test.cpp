// What a bag does when there is no memory, at every allocation of every operation, and what it does without any.

#include "lib/mfw/messageframework/propertybag.h"

#include "lib/mfw/common/coreException.h"
#include "tests/kit/Faults.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <string>

namespace CORE {
namespace {

constexpr const char *kLong = "a value that is longer than any room that a text may have to begin with";

PropertyBag Filled() {
   return PropertyBag("name=audio", "prio=5", "name=again", nullptr);
}

// True when it came to its end; false when memory was out.
bool Runs(const std::function<void()> &action) {
   try {
      action();
      return true;
   } catch (const std::bad_alloc &) {
      return false;
   } catch (const coreException &error) {
      // Without memory it may have no message either; a failed EXPECT would need memory itself.
      return error.Message() != nullptr && std::strcmp(error.Message(), "OutOfMem") != 0;
   }
}

// What is lost shows in a run with the leak sanitizer.
TEST(PropertyBagMemory, WithoutMemoryAnOperationThrowsAndTheBagIsAsItWas) {
   PropertyBag inner("i=1", "j=2", nullptr);
   PropertyBag holder;
   holder.AddBag("inner", inner, false);
   corestring out;
   PropertyBag *allocated = nullptr;
   const struct {
      const char *what;
      std::function<void(PropertyBag &)> change;
   } cases[] = {
      {"Add",
       [](PropertyBag &bag) {
          bag.Add("new", kLong);
       }},
      {"AddBag shared",
       [&](PropertyBag &bag) {
          bag.AddBag("new", inner, false);
       }},
      {"AddBag deep",
       [&](PropertyBag &bag) {
          bag.AddBag("new", holder, true);
       }},
      {"AddBag of itself",
       [](PropertyBag &bag) {
          bag.AddBag("new", bag, false);
       }},
      {"AddBinary",
       [](PropertyBag &bag) {
          bag.AddBinary("new", kLong, 50);
       }},
      {"Set",
       [](PropertyBag &bag) {
          bag.Set("name", kLong);
       }},
      {"Set of a new one",
       [](PropertyBag &bag) {
          bag.Set("new", kLong);
       }},
      {"SetFirst of a new one",
       [](PropertyBag &bag) {
          bag.SetFirst("new", kLong);
       }},
      {"SetBag",
       [&](PropertyBag &bag) {
          bag.SetBag("name", holder, true);
       }},
      {"SetBag of itself",
       [](PropertyBag &bag) {
          bag.SetBag("name", bag, false);
       }},
      {"SetBinary",
       [](PropertyBag &bag) {
          bag.SetBinary("name", kLong, 50);
       }},
      {"SetInt",
       [](PropertyBag &bag) {
          bag.SetInt("prio", 123456);
       }},
      {"Increment",
       [](PropertyBag &bag) {
          bag.Increment("prio");
       }},
      {"Increment of a new one",
       [](PropertyBag &bag) {
          bag.Increment("new");
       }},
      {"Assign",
       [&](PropertyBag &bag) {
          bag.Assign(holder);
       }},
      {"Detach",
       [](PropertyBag &bag) {
          const PropertyBag view(bag.Body());
          bag.Detach(true);
          bag.Set("name", "x");
       }},
      {"Share",
       [&](PropertyBag &bag) {
          bag.Share(holder, "missing");
       }},
      {"SetError",
       [](PropertyBag &bag) {
          bag.SetError(5, " ");
       }},
      {"SetErrorText",
       [](PropertyBag &bag) {
          bag.SetErrorText(kLong);
       }},
      {"reading",
       [&](PropertyBag &bag) {
          static_cast<void>(bag.GetString("name", kLong));
          static_cast<void>(bag.GetStringOrThrow("name"));
          static_cast<void>(bag.GetBag("missing"));
          static_cast<void>(bag.FindNext("name", out, 0));
          static_cast<void>(bag.GetErrorText("none"));
          static_cast<void>(bag.GetErrorDescription());
          bag.Set("name", "read");
       }},
      {"bags for the caller",
       [&](PropertyBag &bag) {
          holder.GetBagOrThrow("inner")->Release();
          if (holder.FindNextBag("inner", allocated, 0) != 0) {
             allocated->Release();
          }
          bag.Set("name", "read");
       }},
      {"a list of texts",
       [](PropertyBag &bag) {
          bag.Share(PropertyBag("a=1", "b=2", kLong, nullptr));
       }},
   };
   for (const auto &[what, change] : cases) {
      for (const kit::Repeat repeat : {kit::Repeat::Once, kit::Repeat::FromThenOn}) {
         for (uint64_t nth = 1;; ++nth) {
            PropertyBag bag = Filled();
            kit::FailNth fault(kit::Fault::Allocation, nth, repeat);
            const bool runs = Runs([&, &run = change] { run(bag); });
            const bool struck = fault.Struck();
            fault.Disarm();
            ASSERT_EQ(runs, !struck) << what << ' ' << nth;
            ASSERT_EQ(bag.Equals(Filled(), true, true), struck) << what << ' ' << nth;
            if (!struck) {
               EXPECT_GT(nth, 1U) << what;
               break;
            }
         }
      }
   }
   EXPECT_TRUE(holder.GetBag("inner") == PropertyBag("i=1", "j=2", nullptr));
}

TEST(PropertyBagMemory, ReadingNumbersAndRemovingTakeNoMemory) {
   PropertyBag bag("name=audio", "prio= 0005 ", "started=yes", nullptr);
   bag.AddBinary("bytes", "abc", 3);
   bag.AddBag("bag", PropertyBag("a=1", nullptr), true);
   const void *data = nullptr;
   size_t size = 0;
   const uint64_t before = kit::AllocationCount();
   EXPECT_EQ(bag.GetInt("prio"), 5);
   EXPECT_TRUE(bag.GetBool("started"));
   EXPECT_EQ(bag.GetErrorCode(), 0U);
   EXPECT_NE(bag.GetStringOrNull("name"), nullptr);
   EXPECT_EQ(bag.GetBinary("bytes", data, size), 3U);
   bag.Remove("prio", true);
   bag.RemoveSecure("name", false);
   bag.RemoveAt(0);
   bag.Clear();
   EXPECT_EQ(kit::AllocationCount(), before);
}

TEST(PropertyBagMemory, ReleaseOfADeepBagTakesNoMemory) {
   PropertyBag bag;
   for (int level = 0; level < 1000; ++level) {
      PropertyBag outer;
      outer.AddBag("bag", bag, false);
      bag.Share(outer);
   }
   kit::FailNth fault(kit::Fault::Allocation, 1, kit::Repeat::FromThenOn);
   bag.Clear();
   EXPECT_FALSE(fault.Struck());
}

} // namespace
} // namespace CORE
