// Endpoints that are stopped, started again and destroyed at every point of their threads, under every interleaving
// that the machine and a perturbed schedule give.

#include "lib/mfw/common/logger.h"
#include "lib/mfw/messageframework/propertybag.h"
#include "libs/pcoip_mfw/ChannelTestKit.h"
#include "tests/kit/PerturbedSchedule.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <thread>

namespace {

#ifdef MAVR_SANITIZED
constexpr int kRounds = 600;
#else
constexpr int kRounds = 3000;
#endif

void Nothing(const char * /*text*/, int /*level*/) {}

std::atomic<int> gTouchedDead{0};

/// Uses its own memory in every callback, without a lock: what runs beside its destructor is a race.
class Mortal final : public pcoip_mfw {
public:
   explicit Mortal(int round)
       : pcoip_mfw("mortal", static_cast<uint32_t>(round % 3))
       , mRound(round) {}
   ~Mortal() override {
      EndCallbacks();
      mAlive = 0;
      mBytes.fill(0);
   }

   void ChannelState(uint32_t /*session*/, uint32_t state) override {
      Touch();
      if (state == 0 && mRound % 11 == 0) {
         Stop();
         (void)Start(mRound % 2 == 0, 1);
      }
   }
   void GotData(uint32_t session, uint8_t *data, uint32_t size) override {
      Touch();
      mBytes[0] = std::accumulate(data, data + size, mBytes[0]);
      switch ((mRound + mCalls++) % 13) {
      case 0:
         throw mRound;
      case 1:
         Stop();
         break;
      case 2:
         Stop();
         (void)Start(mRound % 2 == 0, 1);
         break;
      case 3:
      case 4:
         (void)SendData(session, data, size);
         break;
      default:
         break;
      }
   }
   void GotDataLossy(uint32_t /*session*/, uint8_t *data, uint32_t size) override {
      Touch();
      mBytes[1] = std::accumulate(data, data + size, mBytes[1]);
   }
   void ChannelEvent(uint32_t /*session*/, uint32_t /*code*/) override { Touch(); }

private:
   void Touch() { gTouchedDead += mAlive == 1 ? 0 : 1; }

   const int mRound;
   int mCalls = 0;
   int mAlive = 1;
   std::array<uint32_t, 2> mBytes{};
};

class ChannelStress : public testing::Test {
protected:
   ChannelStress() {
      logger::Init(&Nothing);
      logger::SetDropBelow(logger::FATAL);
   }
   ~ChannelStress() override { logger::Release(); }

   /// The host's side: opens what is asked for, brings datagrams, closes, and comes late with all of it.
   void BeHost() {
      for (uint32_t turn = 0; !mOver; ++turn) {
         Rest();
         const auto last = host.LastOpened();
         if (!last.has_value()) {
            continue;
         }
         const uint32_t handle = last->handle;
         host.TellFor(*last, handle, pcoip_channel::Opened, nullptr);
         host.Arrive(handle, {"one", "two", "three"});
         host.Arrive(kit::ObedientHost::LossyHandleOf(handle), {"four", "five"});
         if (turn % 5 == 0) {
            host.TellFor(*last, handle, 1000 + turn, nullptr);
         }
         if (turn % 7 == 0) {
            host.TellFor(*last, handle, pcoip_channel::ChannelClosed, nullptr);
         }
         if (turn % 17 == 0) {
            host.FailReceive(handle, -9);
         }
         if (turn % 23 == 0) {
            host.Session(1);
         }
      }
   }

   // The locks are not fair: without a rest a busy thread would keep everyone else out of them.
   static void Rest() { std::this_thread::sleep_for(std::chrono::microseconds(20)); }

   static void Yield(int times) {
      for (; times > 0; --times) {
         std::this_thread::yield();
      }
   }

   const kit::PerturbedSchedule mSchedule;
   kit::ObedientHost host;
   kit::WatchedThreads threads;
   std::atomic<bool> mOver{false};
};

TEST_F(ChannelStress, DestroyedStoppedAndStartedAgainAtAnyPoint) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   std::thread hostThread([this] { BeHost(); });
   std::thread informed([this] {
      while (!mOver) {
         CORE::PropertyBag info;
         pcoip_mfw::GetChannelsInfo(info);
         Rest();
      }
   });
   for (int round = 0; round < kRounds; ++round) {
      auto endpoint = std::make_unique<Mortal>(round);
      endpoint->SetGotDataOptions(static_cast<uint32_t>(round % 32), static_cast<uint32_t>(round % 5));
      EXPECT_TRUE(endpoint->Start(round % 3 == 0, 1));
      Yield(round % 29);
      switch (round % 6) {
      case 0:
         endpoint->Stop();
         break;
      case 1:
         endpoint->Stop();
         EXPECT_TRUE(endpoint->Start(round % 2 == 0, 1));
         Yield(round % 7);
         break;
      case 2:
         (void)endpoint->SendData(0, "hello", 5);
         (void)endpoint->SendDataLossy(0, "hello", 5);
         break;
      case 3:
         endpoint->Stop();
         endpoint->SetGotDataOptions(4000, 4000);
         (void)endpoint->Start(true, 1);
         endpoint->Stop();
         break;
      default:
         break;
      }
      Yield(round % 13);
      endpoint.reset();
      threads.AwaitAtMost(20);
   }
   mOver = true;
   hostThread.join();
   informed.join();
   threads.AwaitNone();
   EXPECT_EQ(gTouchedDead, 0);
   EXPECT_EQ(host.StillOpen(), 0U);
   EXPECT_EQ(pcoip_channel::CountLive(), 0U);
}

} // namespace
