#include "tests/kit/Faults.h"

#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <pthread.h>

namespace kit {
namespace {

bool Mallocs() {
   void *volatile memory = std::malloc(16);
   std::free(memory);
   return memory != nullptr;
}

TEST(Faults, TheNthAllocationFailsOnce) {
   FailNth fault(Fault::Allocation, 2);
   const bool first = Mallocs();
   const bool second = Mallocs();
   const int error = errno;
   const bool third = Mallocs();
   fault.Disarm();
   EXPECT_TRUE(first && !second && third);
   EXPECT_EQ(error, ENOMEM);
   EXPECT_TRUE(fault.Struck());
}

TEST(Faults, FromTheNthOnEveryAllocationFails) {
   FailNth fault(Fault::Allocation, 2, Repeat::FromThenOn);
   const bool first = Mallocs();
   const bool second = Mallocs();
   const bool third = Mallocs();
   fault.Disarm();
   EXPECT_TRUE(first && !second && !third && Mallocs());
}

TEST(Faults, NewThrows) {
   FailNth fault(Fault::Allocation, 1);
   EXPECT_THROW((void)std::make_unique<int[]>(100), std::bad_alloc);
}

TEST(Faults, NewThatDoesNotThrowGivesNull) {
   FailNth fault(Fault::Allocation, 1, Repeat::FromThenOn);
   int *volatile one = new (std::nothrow) int;
   int *volatile many = new (std::nothrow) int[100];
   fault.Disarm();
   EXPECT_EQ(one, nullptr);
   EXPECT_EQ(many, nullptr);
}

TEST(Faults, AThreadCannotBeHad) {
   const auto start = [](void *) -> void * {
      return nullptr;
   };
   pthread_t thread{};
   {
      const FailNth fault(Fault::ThreadCreation, 1);
      EXPECT_EQ(pthread_create(&thread, nullptr, start, nullptr), EAGAIN);
   }
   ASSERT_EQ(pthread_create(&thread, nullptr, start, nullptr), 0);
   pthread_join(thread, nullptr);
}

TEST(Faults, CountsAllocations) {
   const uint64_t before = AllocationCount();
   EXPECT_TRUE(Mallocs());
   EXPECT_EQ(AllocationCount(), before + 1);
}

} // namespace
} // namespace kit
