#include "osal/Threads.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <string>
#include <thread>

namespace osal {
namespace {

#if defined(__APPLE__)
constexpr size_t kRoom = 63;
#else
constexpr size_t kRoom = 15;
#endif

std::string NameAfterSetting(const std::string &name) {
   std::string seen;
   std::thread([&] {
      setThreadName(name.c_str());
      char buffer[64] = {};
      pthread_getname_np(pthread_self(), buffer, sizeof buffer);
      seen = buffer;
   }).join();
   return seen;
}

TEST(ThreadName, IsTheCallingThreads) {
   char before[64] = {};
   pthread_getname_np(pthread_self(), before, sizeof before);
   EXPECT_EQ(NameAfterSetting("TimerService"), "TimerService");
   char after[64] = {};
   pthread_getname_np(pthread_self(), after, sizeof after);
   EXPECT_STREQ(after, before);
}

TEST(ThreadName, MayBeEmpty) {
   EXPECT_EQ(NameAfterSetting(""), "");
}

TEST(ThreadName, FillsTheRoomAndIsCutBehindIt) {
   const std::string full(kRoom, 'n');
   EXPECT_EQ(NameAfterSetting(full), full);
   EXPECT_EQ(NameAfterSetting(full + "m"), full);
   EXPECT_EQ(NameAfterSetting(full + std::string(1000, 'm')), full);
}

TEST(ThreadName, IsNeverCutInsideACharacter) {
   const std::string twoBytes = "\xC3\xA9";
   const std::string fourBytes = "\xF0\x9F\x8E\xA5";
   EXPECT_EQ(NameAfterSetting(std::string(kRoom - 2, 'n') + twoBytes + "m"), std::string(kRoom - 2, 'n') + twoBytes);
   EXPECT_EQ(NameAfterSetting(std::string(kRoom - 1, 'n') + twoBytes), std::string(kRoom - 1, 'n'));
   for (size_t inside = 1; inside < 4; ++inside) {
      EXPECT_EQ(NameAfterSetting(std::string(kRoom - inside, 'n') + fourBytes), std::string(kRoom - inside, 'n'));
   }
}

TEST(ThreadName, OfContinuationBytesOnlyIsCutToNothing) {
   EXPECT_EQ(NameAfterSetting(std::string(kRoom + 5, '\x80')), "");
}

} // namespace
} // namespace osal
