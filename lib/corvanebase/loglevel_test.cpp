#include "lib/corvanebase/corvanebase.h"

#include <gtest/gtest.h>

struct LogConfigSource {
   int unused;
};

namespace {

TEST(LogLevel, RemembersTheSourceUntilTheNextStart) {
   const LogConfigSource source{0};
   EXPECT_EQ(LogLevel_ConfiguredBy(), nullptr);
   LogLevel_UserExtensionCreate();
   LogLevel_Configure(&source);
   EXPECT_EQ(LogLevel_ConfiguredBy(), &source);
   LogLevel_UserExtensionCreate();
   EXPECT_EQ(LogLevel_ConfiguredBy(), nullptr);
}

TEST(ProductState, SaysWhatThisIs) {
   EXPECT_STREQ(ProductState_GetName(), "MAVR client library");
   EXPECT_STREQ(ProductState_GetVersion(), "2.0.0");
   EXPECT_EQ(std::string(ProductState_GetBuildNumberString()).rfind("build-", 0), 0U);
   const std::string option = ProductState_GetCompilationOption();
   EXPECT_TRUE(option == "Release" || option == "Debug") << option;
}

} // namespace
