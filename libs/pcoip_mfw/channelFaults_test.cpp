// Channels when memory runs out, or no thread can be had.

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/logger.h"
#include "lib/mfw/messageframework/propertybag.h"
#include "libs/pcoip_mfw/ChannelTestKit.h"
#include "tests/kit/Faults.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <thread>

namespace {

using kit::Fault;
using kit::KeepingEndpoint;

void Nothing(const char * /*text*/, int /*level*/) {}

std::unique_ptr<KeepingEndpoint> Made() {
   try {
      return std::make_unique<KeepingEndpoint>("TLV faults");
   } catch (const std::bad_alloc &) {
   } catch (const CORE::coreException &) {
   }
   return nullptr;
}

size_t EndpointCount() {
   CORE::PropertyBag info;
   pcoip_mfw::GetChannelsInfo(info);
   return info.GetCount();
}

class ChannelFaults : public testing::Test {
protected:
   ChannelFaults() {
      logger::Init(&Nothing);
      (void)Made(); // what the process makes once is there
   }
   ~ChannelFaults() override { logger::Release(); }
   kit::ObedientHost host;
};

// Behind the event comes the lock, without which the process ends.
TEST_F(ChannelFaults, EndpointIsMadeWholeOrNotAtAllAndCannotStartWithoutItsEvent) {
   ASSERT_TRUE(host.Load(true));
   for (uint64_t nth = 1;; ++nth) {
      kit::FailNth fault(Fault::Allocation, nth);
      const auto endpoint = Made();
      ASSERT_TRUE(fault.Struck()) << "no event failed";
      fault.Disarm();
      EXPECT_EQ(EndpointCount(), endpoint != nullptr ? 1U : 0U) << nth;
      if (endpoint != nullptr) {
         const kit::LogCapture log;
         EXPECT_FALSE(endpoint->Start(false, 1));
         EXPECT_TRUE(log.Saw(logger::ERROR, "[%s - Start] FAILED to create event", "TLV faults")) << log.Dump();
         EXPECT_FALSE(endpoint->IsStarted());
         endpoint->Stop();
         break;
      }
   }
   logger::Init(&Nothing);
}

TEST_F(ChannelFaults, StartAndConnectWithoutMemoryOrThreadsLeaveAChannelThatCanBeStartedAgain) {
   ASSERT_TRUE(host.Load(true));
   for (const Fault kind : {Fault::Allocation, Fault::ThreadCreation}) {
      for (uint64_t nth = 1;; ++nth) {
         KeepingEndpoint endpoint("TLV faults");
         ASSERT_TRUE(endpoint.Start(false, 1));
         kit::FailNth fault(kind, nth);
         host.Session(1);
         while (endpoint.Channel()->GetRefCount() > 1 && host.StillOpen() == 0) {
            std::this_thread::yield(); // the thread opens the channel, or fails to
         }
         const bool struck = fault.Struck();
         fault.Disarm();
         endpoint.Stop();
         while (endpoint.Channel()->GetRefCount() > 1) {
            std::this_thread::yield(); // a thread that had started after all
         }
         EXPECT_EQ(host.StillOpen(), 0U) << nth;
         ASSERT_TRUE(endpoint.Start(false, 1));
         endpoint.Stop();
         host.Session(0);
         while (endpoint.Channel()->GetRefCount() > 1) {
            std::this_thread::yield();
         }
         if (!struck) {
            break;
         }
      }
   }
}

} // namespace
