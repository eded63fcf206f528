#include "osal/HostFacts.h"

#include <array>
#include <gtest/gtest.h>

namespace {

TEST(HostFacts, NameThatDoesNotExistGivesFalseAndAnEmptyText) {
   std::array<char, 8> text{'x', 'x', '\0'};
   EXPECT_FALSE(osal::readSystemControl("kern.no-such-name", text.data(), text.size()));
   EXPECT_STREQ(text.data(), "");
   EXPECT_FALSE(osal::readSystemControl("kern.osrelease", nullptr, 0));
}

#if defined(__APPLE__)
TEST(HostFacts, KernelReleaseIsReadOnlyWhenItFits) {
   std::array<char, 32> text{};
   EXPECT_TRUE(osal::readSystemControl("kern.osrelease", text.data(), text.size()));
   EXPECT_GT(std::atoi(text.data()), 12);
   EXPECT_FALSE(osal::readSystemControl("kern.osrelease", text.data(), 2));
}
#endif

} // namespace
