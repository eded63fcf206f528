#include "lib/mfw/common/sysmessage_linux.h"

#include "lib/mfw/common/corelogger.h"
#include "lib/mfw/common/logger.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace {

std::vector<std::pair<int, std::string>> gLines;

class SysMessage : public testing::Test {
protected:
   SysMessage() {
      gLines.clear();
      logger::Init([](const char *text, int level) { gLines.emplace_back(level, text); });
   }
   ~SysMessage() override { logger::Release(); }
};

TEST_F(SysMessage, IsTheSinkFromLoadTimeOn) {
   EXPECT_EQ(CORE::corelogger::SetSink(sysmessage_linux), &sysmessage_linux);
}

TEST_F(SysMessage, MapsEveryLevelAndAnyOtherToFatal) {
   const std::pair<int, int> levels[] = {{1, logger::ERROR}, {2, logger::INFO},   {3, logger::DEBUG},
                                         {4, logger::TRACE}, {0, logger::FATAL},  {5, logger::FATAL},
                                         {7, logger::FATAL}, {-1, logger::FATAL}, {INT32_MAX, logger::FATAL}};
   for (const auto &[level, expected] : levels) {
      gLines.clear();
      CORE::corelogger::Log("facility", level, "%s %d", "text", level);
      ASSERT_EQ(gLines.size(), 1U);
      EXPECT_EQ(gLines[0], std::make_pair(expected, "text " + std::to_string(level) + "\n")); // no facility
   }
}

TEST_F(SysMessage, FormatsNothingThatTheBridgeWouldDrop) {
   logger::SetDropBelow(logger::WARN);
   CORE::corelogger::LogDebug("dropped");
   CORE::corelogger::Log("", 2, "dropped");
   CORE::corelogger::LogError("kept");
   CORE::corelogger::Log("", 7, "kept");
   EXPECT_EQ(gLines.size(), 2U);
}

} // namespace
