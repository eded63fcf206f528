#include "lib/mfw/common/corelogger.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>
#include <vector>

using CORE::corelogger;

namespace {

struct Line {
   std::string facility;
   int level;
   std::string text;
   bool operator==(const Line &) const = default;
};
std::vector<Line> gLines;

void Receive(const char *facility, int level, const char *format, va_list args) __attribute__((format(printf, 3, 0)));
void Receive(const char *facility, int level, const char *format, va_list args) {
   char text[200];
   std::vsnprintf(text, sizeof text, format, args);
   gLines.push_back({facility, level, text});
}

class CoreLogger : public testing::Test {
protected:
   CoreLogger()
       : mFormer(corelogger::SetSink(Receive)) {
      gLines.clear();
   }
   ~CoreLogger() override {
      corelogger::SetSink(mFormer);
      corelogger::Instance().SetEnabled(true);
   }

   const corelogger::Sink mFormer;
};

static_assert(std::is_base_of_v<CORE::coreref, corelogger>);

TEST_F(CoreLogger, HasASinkFromLoadTimeOn) {
   EXPECT_NE(mFormer, nullptr);
   EXPECT_EQ(corelogger::Instance().GetRefCount(), 1);
}

TEST_F(CoreLogger, ShortFormsHaveTheirLevelsAndNoFacility) {
   corelogger::LogError("e%d", 1);
   corelogger::LogDebug("d%d", 2);
   corelogger::LogTrace("t%d", 3);
   corelogger::Log("facility", 2, "i%d", 4);
   corelogger::Log("", 7, "x%s", "5");
   corelogger::Log(nullptr, -1, "y");
   const std::vector<Line> expected = {{"", 1, "e1"},         {"", 3, "d2"}, {"", 4, "t3"},
                                       {"facility", 2, "i4"}, {"", 7, "x5"}, {"", -1, "y"}};
   EXPECT_EQ(gLines, expected);
}

TEST_F(CoreLogger, DropsTheLineWhenDisabled) {
   corelogger::Instance().SetEnabled(false);
   corelogger::LogError("dropped");
   EXPECT_TRUE(gLines.empty());
   corelogger::Instance().SetEnabled(true);
   corelogger::LogError("kept");
   EXPECT_EQ(gLines.size(), 1U);
}

TEST_F(CoreLogger, DropsTheLineWithoutASink) {
   EXPECT_EQ(corelogger::SetSink(nullptr), &Receive);
   corelogger::LogError("dropped");
   EXPECT_TRUE(gLines.empty());
   EXPECT_EQ(corelogger::SetSink(Receive), nullptr);
}

} // namespace
