// What corestring leaves behind in memory that it gives back, and what it does when it gets none. Every free of this
// program goes through here first (--wrap), so that a block is looked at while it is still whole.

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/corestring.h"

#include "tests/kit/Faults.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <malloc.h>
#include <string>
#include <string_view>
#include <vector>

using CORE::corestring;

namespace {

constexpr std::string_view kNeedle = "s3cr3t";

// Looks for the needle in every block that is freed on this thread, and can keep a block from being freed.
struct FreeWatch {
   FreeWatch() { sCurrent = this; }
   ~FreeWatch() {
      sCurrent = nullptr;
      std::for_each(kept.begin(), kept.end(), std::free);
   }
   FreeWatch(const FreeWatch &) = delete;
   FreeWatch &operator=(const FreeWatch &) = delete;

   // Whether the block is to be freed now.
   bool Sees(void *memory) {
      const std::string_view block(static_cast<const char *>(memory), malloc_usable_size(memory));
      leaks += block.find(kNeedle) != std::string_view::npos ? 1 : 0;
      ++frees;
      if (keep) {
         kept.push_back(memory);
      }
      return !keep;
   }

   int frees = 0;
   int leaks = 0; // blocks with the needle
   bool keep = false;
   std::vector<void *> kept;

   static thread_local FreeWatch *sCurrent;
};
thread_local FreeWatch *FreeWatch::sCurrent = nullptr;

} // namespace

extern "C" {
void __real_free(void *memory);
void __wrap_free(void *memory);
void __wrap_free(void *memory) {
   FreeWatch *const watch = std::exchange(FreeWatch::sCurrent, nullptr); // its own work is not watched
   const bool goes = watch == nullptr || memory == nullptr || watch->Sees(memory);
   FreeWatch::sCurrent = watch;
   if (goes) {
      __real_free(memory);
   }
}
}

namespace {

// A text, secure or not, that holds the needle at several places in a block with room to spare.
corestring Secret(bool secure) {
   corestring text(("s3cr3t" + std::string(2000, '.') + "s3cr3t").c_str());
   if (secure) {
      text.SetSecure();
   }
   return text;
}

const std::vector<std::function<void(corestring &)>> &Changes() {
   static const std::string longText(9000, 'x');
   static const std::vector<std::function<void(corestring &)>> changes = {
      [](corestring &text) { text.Release(); },
      [](corestring &text) { text.SetLength(10); },
      [](corestring &text) { text.SetLength(0); },
      [](corestring &text) { text.SetLength(1999, true); },
      [](corestring &text) { text.SetLength(0, true); },
      [](corestring &text) { text.SetLength(8, true); },
      [](corestring &text) { text.Append(longText.c_str()); },
      [](corestring &text) { text.Append(text); },
      [](corestring &text) { text.Assign("x"); },
      [](corestring &text) { text.Assign(longText.c_str()); },
      [](corestring &text) { text.Assign(text.Data() + 2000); },
      [](corestring &text) { text.Assign(text.Data() + 1); },
      [](corestring &text) { text.Replace(3, 1990, "x"); },
      [](corestring &text) { text.Replace(3, 1, longText.c_str()); },
      [](corestring &text) { text.Replace(3, 0, text.Data() + 2000); },
      [](corestring &text) { text.Replace(0, 6, text.Data() + 2006, 6); }, // in place
      [](corestring &text) { text.Replace(0, 5000, nullptr); },
      [](corestring &text) { text.ReplaceAll("3", "xx"); },
      [](corestring &text) { text.ReplaceAll(".", ""); },
      [](corestring &text) { text.TrimLeft("s3cr3t."); },
      [](corestring &text) { text.TrimRight("s3cr3t"); },
      [](corestring &text) { text.Format("%s", "x"); },
      [](corestring &text) { text.Format("%s%s", text.Text(), longText.c_str()); },
      [](corestring &text) { text.AssignBinary("x", 1); },
      [](corestring &text) { text.Copy(corestring("x")); },
      [](corestring &text) { text.Copy(corestring()); },
      [](corestring &text) { text = corestring("x"); },
      [](corestring &text) { corestring(text).Append("x"); },
   };
   return changes;
}

TEST(CoreStringMemory, SecureTextLeavesNothingInMemoryThatItGivesBack) {
   for (const auto &change : Changes()) {
      corestring text = Secret(true);
      FreeWatch watch;
      change(text);
      text.Release();
      EXPECT_GE(watch.frees, 1);
      EXPECT_EQ(watch.leaks, 0) << "change " << &change - Changes().data();
   }
}

TEST(CoreStringMemory, PlainTextIsNotWiped) {
   corestring text = Secret(false);
   FreeWatch watch;
   text.Release();
   EXPECT_EQ(watch.frees, 1);
   EXPECT_EQ(watch.leaks, 1);
}

TEST(CoreStringMemory, ReleaseWipesTheRoomBehindTheTextToo) {
   corestring text = Secret(true);
   text.SetLength(1900); // in the same block, which still holds the end of it
   ASSERT_EQ(text.Capacity(), 2012U);
   FreeWatch watch;
   text.Release();
   EXPECT_EQ(watch.leaks, 0);
}

TEST(CoreStringMemory, ReleasedBlockHasNoHeaderAndNoGuards) {
   for (const bool secure : {false, true}) {
      corestring text("Hello");
      if (secure) {
         text.SetSecure();
      }
      FreeWatch watch;
      watch.keep = true;
      text.Release();
      ASSERT_EQ(watch.kept.size(), 1U);
      const std::string block(static_cast<const char *>(watch.kept[0]), 5 + 37);
      EXPECT_EQ(block, std::string(32, '\0') + (secure ? std::string(6, '\0') : std::string("Hello\0", 6)) +
                          std::string(4, '\0'));
   }
}

TEST(CoreStringMemory, SecondReleaseOfABlockIsCorruption) {
   FreeWatch watch;
   watch.keep = true;
   corestring text("Hello");
   corestring twin;
   static_assert(sizeof twin == sizeof(char *));
   std::memcpy(static_cast<void *>(&twin), static_cast<const void *>(&text), sizeof twin);
   text.Release();
   bool found = false;
   try {
      twin.Release();
   } catch (const CORE::coreException &error) {
      found = std::string_view(error.Message()) == "CORESTRING CORRUPTION";
   }
   EXPECT_TRUE(found);
   std::memset(static_cast<void *>(&twin), 0, sizeof twin); // the block is gone
}

TEST(CoreStringMemory, WithoutMemoryTheTextStaysAsItWas) {
   for (const kit::Repeat repeat : {kit::Repeat::Once, kit::Repeat::FromThenOn}) {
      for (const bool secure : {false, true}) {
         for (const auto &change : Changes()) {
            const auto which = &change - Changes().data();
            for (uint64_t nth = 1;; ++nth) {
               ASSERT_LT(nth, 10U) << which;
               corestring text = Secret(secure);
               const std::string former(text.Text(), text.Length());
               kit::FailNth fault(kit::Fault::Allocation, nth, repeat);
               bool thrown = false;
               const char *message = nullptr;
               char kept[32] = "";
               try {
                  change(text);
               } catch (const CORE::coreException &error) {
                  thrown = true;
                  message = error.Message();
                  std::strncpy(kept, message != nullptr ? message : "", sizeof kept - 1);
               }
               const bool struck = fault.Struck();
               fault.Disarm();
               EXPECT_EQ(thrown, struck) << which << ", call " << nth;
               if (!struck) {
                  break;
               }
               // The exception's own copy of its message is one of the allocations.
               EXPECT_STREQ(kept, repeat == kit::Repeat::Once ? "OutOfMem" : "") << which;
               EXPECT_EQ(std::string(text.Text(), text.Length()), former) << which << ", call " << nth;
               EXPECT_EQ(text.IsSecure(), secure);
            }
         }
      }
   }
}

TEST(CoreStringMemory, TextThatFitsItsBlockAllocatesNothing) {
   corestring text;
   text.SetLength(200, true);
   const uint64_t before = kit::AllocationCount();
   text.Assign("abc");
   text.Append("defghi");
   text.Replace(1, 2, "xyz");
   text.TrimLeft("a");
   text.Format("%d", 7);
   EXPECT_EQ(kit::AllocationCount(), before);
   EXPECT_EQ(text.Capacity(), 200U);
}

} // namespace
