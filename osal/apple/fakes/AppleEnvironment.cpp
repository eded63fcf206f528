#include "osal/apple/fakes/AppleEnvironment.h"

#include "osal/apple/fakes/Fakes.h"

#include <gtest/gtest.h>

namespace {

/// Round every test program of the Mac's backend: whatever its tests did, nothing of the frameworks is left.
class AppleEnvironment final : public testing::Environment {
public:
   void SetUp() override { fakes::WarmUp(); }
   void TearDown() override {
      fakes::ForgetPreferences();
      fakes::AwaitIdleQueues();
      EXPECT_EQ(fakes::LiveObjects(), 0u) << "objects of the frameworks that nobody has released";
   }
};

[[maybe_unused]] testing::Environment *const gEnvironment =
   testing::AddGlobalTestEnvironment(new AppleEnvironment); // owned by the test framework

} // namespace
