#include "libs/common/TimedCount.h"

#include <gtest/gtest.h>

namespace {

TEST(TimedCount, TextHasBothNumbers) {
   EXPECT_EQ((TimedCount{0, 0}).ToText(), "TS = 0,  DataCount = 0");
   EXPECT_EQ((TimedCount{12345, -7}).ToText(), "TS = 12345,  DataCount = -7");
   EXPECT_EQ((TimedCount{0xFFFFFFFFFFFFFFFFu, -2147483647 - 1}).ToText(),
             "TS = 18446744073709551615,  DataCount = -2147483648");
}

} // namespace
