#include "libs/utils/SharedHandle.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

// Closed handles are freed memory: the address and leak sanitizers see a handle closed too early or never.

TEST(SharedHandle, AHandleLivesAsLongAsItsLastCopy) {
   SharedHandle copy;
   {
      const SharedHandle first = SharedHandle::Adopt(CreateEvent(nullptr, true, true, nullptr));
      copy = first;
      EXPECT_EQ(copy.Get(), first.Get());
   }
   EXPECT_EQ(WaitForSingleObject(copy.Get(), 0), WAIT_OBJECT_0);
   const SharedHandle moved = std::move(copy);
   EXPECT_FALSE(copy); // NOLINT(bugprone-use-after-move): empty is what a moved one is
   EXPECT_TRUE(moved);
}

TEST(SharedHandle, WithoutAHandleItIsEmpty) {
   EXPECT_FALSE(SharedHandle());
   EXPECT_FALSE(SharedHandle::Adopt(nullptr));
   EXPECT_EQ(SharedHandle().Get(), nullptr);
   EXPECT_FALSE(SharedHandle().CanFill());
}

TEST(SharedHandle, AReservedOneIsFilledForAllCopies) {
   SharedHandle reserved = SharedHandle::Reserve();
   ASSERT_TRUE(reserved.CanFill());
   const SharedHandle copy = reserved;
   EXPECT_FALSE(copy);
   reserved.Fill(CreateEvent(nullptr, true, false, nullptr));
   EXPECT_TRUE(copy);
   EXPECT_EQ(copy.Get(), reserved.Get());
}

} // namespace
