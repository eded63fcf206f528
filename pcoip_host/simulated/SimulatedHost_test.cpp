#include "pcoip_host/simulated/SimulatedHost.h"

#include "lib/mfw/common/logger.h"
#include "libs/pcoip_mfw/mfwSession.h"
#include "libs/pcoip_mfw/pcoip_mfw.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

namespace {

class Listener final : public pcoip_mfw {
public:
   explicit Listener(const char *name)
       : pcoip_mfw(name, 1) {}
   ~Listener() override { EndCallbacks(); }
   void ChannelState(uint32_t /*session*/, uint32_t state) override { states.push_back(state); }
   void GotData(uint32_t /*session*/, uint8_t *data, uint32_t size) override {
      const std::lock_guard<std::mutex> hold(mLock);
      heard.emplace_back(reinterpret_cast<const char *>(data), size);
   }
   void GotDataLossy(uint32_t session, uint8_t *data, uint32_t size) override { GotData(session, data, size); }

   std::vector<uint32_t> states;
   std::vector<std::string> heard;

private:
   std::mutex mLock;
};

class SimulatedHostTest : public testing::Test {
protected:
   ~SimulatedHostTest() override {
      mfwHost.store(nullptr);
      mfwServer.store(false);
      mfwConnected.store(false);
   }
   static void Step(SimulatedHost &host, int count) {
      for (; count > 0; --count) {
         host.step();
         host.settle();
      }
   }
   kit::LogCapture log;
};

TEST_F(SimulatedHostTest, CalmHostOpensAndAnswersEveryDatagramInOrder) {
   SimulatedHost host(1, HostWeather::Calm());
   mfwServer.store(true);
   uint64_t context = 0;
   ASSERT_TRUE(mfw::Init(&host.table(), &context));
   ASSERT_TRUE(host.connect());
   Listener listener("calm");
   ASSERT_TRUE(listener.Start(false, 1));
   host.settle();
   while (listener.states.empty()) {
      Step(host, 1);
   }
   std::vector<std::string> said;
   for (int i = 0; i < 50; ++i) {
      said.push_back("number " + std::to_string(i));
      ASSERT_TRUE(listener.SendData(0, said.back().data(), static_cast<uint32_t>(said.back().size())));
      Step(host, 3);
   }
   Step(host, 200);
   std::vector<std::string> answers;
   for (const std::string &each : listener.heard) {
      if (each.rfind("number ", 0) == 0) {
         answers.push_back(each);
      }
   }
   EXPECT_EQ(answers, said);
   EXPECT_EQ(listener.states, std::vector<uint32_t>{1});
   const auto tally = host.tallies()[{"calm", 0}];
   EXPECT_EQ(tally.taken, said);
   EXPECT_EQ(tally.received, listener.heard);
   EXPECT_TRUE(tally.open);
}

TEST_F(SimulatedHostTest, ClientOpensWhenItIsAskedFor) {
   SimulatedHost host(2, HostWeather::Calm());
   ASSERT_TRUE(mfw::Init(&host.table(), nullptr));
   Listener listener("client");
   ASSERT_TRUE(listener.Start(false, 1));
   EXPECT_FALSE(host.openByName("client", true)) << "no session";
   ASSERT_TRUE(host.connect());
   EXPECT_TRUE(host.connected());
   ASSERT_TRUE(host.openByName("client", true));
   host.settle();
   Step(host, 20);
   EXPECT_EQ(listener.states, std::vector<uint32_t>{1});
   EXPECT_EQ(host.threadsAlive(), 2U);
   host.disconnect();
   EXPECT_FALSE(host.connected());
}

std::vector<std::string> Course(uint64_t seed) {
   std::vector<std::string> course;
   {
      SimulatedHost host(seed, HostWeather::Storm());
      mfwServer.store(true);
      EXPECT_TRUE(mfw::Init(&host.table(), nullptr));
      EXPECT_TRUE(host.connect());
      Listener listener("course");
      for (int i = 0; i < 200; ++i) {
         (void)listener.Start(i % 2 == 0, 1);
         host.settle();
         host.step();
         host.settle();
         (void)listener.SendData(0, "datagram", 8);
         host.settle();
         course.push_back(std::to_string(listener.states.size()) + ' ' + std::to_string(listener.heard.size()));
      }
      for (const auto &[opening, tally] : host.tallies()) {
         course.push_back(opening.first + std::to_string(opening.second) + ' ' + std::to_string(tally.taken.size()) +
                          ' ' + std::to_string(tally.received.size()) + ' ' + std::to_string(tally.lossyReceived));
      }
   }
   mfwHost.store(nullptr);
   mfwConnected.store(false);
   return course;
}

TEST_F(SimulatedHostTest, SeedMeansOneCourseOfEvents) {
   for (uint64_t seed = 0; seed < 20; ++seed) {
      EXPECT_EQ(Course(seed), Course(seed)) << seed;
   }
   EXPECT_NE(Course(1), Course(2));
}

TEST_F(SimulatedHostTest, TableIsFilledByNameAtTheStatedPlaces) {
   const SimulatedHost host(3, HostWeather::Calm());
   const auto *const entries = reinterpret_cast<void *const *>(&host.table());
   for (const size_t place : {1U, 2U, 3U, 5U, 6U, 8U, 10U, 13U, 15U, 19U, 20U, 21U, 22U, 23U}) {
      EXPECT_NE(entries[place], nullptr) << place;
   }
   for (const size_t place : {0U, 4U, 7U, 9U, 11U, 12U, 14U, 16U, 17U, 18U}) {
      EXPECT_EQ(entries[place], nullptr) << place;
   }
}

} // namespace
