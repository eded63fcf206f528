#pragma once

#include "lib/mfw/common/logger.h"
#include "libs/pcoip_mfw/ChannelTestKit.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace kit {

/// A host, watched threads and the log, for tests of channels. Endpoints belong to the tests and go before these.
class ChannelTest : public testing::Test {
protected:
   /// An endpoint on the agent side whose channel is open and read.
   void OpenOnAgent(KeepingEndpoint &endpoint, bool lossy = false) {
      if (mfwHost.load() == nullptr) {
         ASSERT_TRUE(host.Load(true));
         host.Session(1);
      }
      const size_t before = host.AllOpened().size();
      ASSERT_TRUE(endpoint.Start(lossy, 250));
      host.OpenFully(before + 1, lossy);
      endpoint.AwaitStates({1});
   }

   LogCapture log;
   ObedientHost host;
   WatchedThreads threads;
};

} // namespace kit
