#include "lib/corvanebase/corvanebase.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <string>
#include <thread>

namespace {

TEST(ThreadName, IsTheSystemsNameAtTheCall) {
   std::thread([] {
      pthread_setname_np(pthread_self(), "first");
      EXPECT_STREQ(VThreadBase_CurName(), "first");
      pthread_setname_np(pthread_self(), "second");
      EXPECT_STREQ(VThreadBase_CurName(), "second");
      pthread_setname_np(pthread_self(), "");
      EXPECT_STREQ(VThreadBase_CurName(), "");
   }).join();
}

TEST(ThreadName, IsEachThreadsOwn) {
   pthread_setname_np(pthread_self(), "outer");
   const std::string before = VThreadBase_CurName();
   const char *const outer = VThreadBase_CurName();
   std::thread([] {
      pthread_setname_np(pthread_self(), "inner");
      EXPECT_STREQ(VThreadBase_CurName(), "inner");
   }).join();
   EXPECT_EQ(outer, before);
}

TEST(ThreadSignalMark, BelongsToItsThreadAndNests) {
   EXPECT_FALSE(VThreadBase_IsInSignal());
   EXPECT_EQ(VThreadBase_SetIsInSignal(1), 0);
   EXPECT_TRUE(VThreadBase_IsInSignal());
   int other = 1;
   std::thread([&] { other = VThreadBase_IsInSignal(); }).join();
   EXPECT_EQ(other, 0);
   EXPECT_EQ(VThreadBase_SetIsInSignal(7), 1);
   EXPECT_EQ(VThreadBase_SetIsInSignal(0), 1);
   EXPECT_FALSE(VThreadBase_IsInSignal());
}

} // namespace
