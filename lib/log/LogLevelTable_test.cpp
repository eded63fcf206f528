#include "lib/log/LogLevelTable.h"
#include "lib/log/LogModuleTable.h"

#include <gtest/gtest.h>

#include <string>

TEST(LogLevelTable, HasTheLevelsByNumber) {
   const char *const names[] = {"audit", "panic", "error", "warning", "notice", "info", "verbose", "trivia", "debug"};
   const char *const designators[] = {"No", "Cr", "Er", "Wa", "No", "In", "In", "In", "Db"};
   for (uint32_t level = 0; level < 9; ++level) {
      const LogLevelRow *const row = LogLevel_RowByNumber(level);
      EXPECT_EQ(row->level, level);
      EXPECT_STREQ(row->name, names[level]);
      EXPECT_STREQ(row->designator, designators[level]);
   }
   for (uint32_t level = 9; level < 24; ++level) {
      const LogLevelRow *const row = LogLevel_RowByNumber(level);
      EXPECT_EQ(row->level, level);
      EXPECT_EQ(row->name, "debug" + std::to_string(level - 8));
      EXPECT_STREQ(row->designator, "Db");
   }
}

TEST(LogLevelTable, AuditPrintsAsNoticeAndVerboseAndTriviaAsInfo) {
   EXPECT_STREQ(LogLevel_RowByNumber(0)->designator, LogLevel_RowByNumber(4)->designator);
   EXPECT_STREQ(LogLevel_RowByNumber(6)->designator, LogLevel_RowByNumber(5)->designator);
   EXPECT_STREQ(LogLevel_RowByNumber(7)->designator, LogLevel_RowByNumber(5)->designator);
}

TEST(LogLevelTable, MapsNumbersBehindItsEndToInfo) {
   for (const uint32_t level : {24U, 31U, 1000U, UINT32_MAX}) {
      EXPECT_EQ(LogLevel_RowByNumber(level)->level, 5U);
   }
}

TEST(LogLevelTable, FindsNamesInAnyCaseAndNothingElse) {
   EXPECT_EQ(LogLevel_RowByName("WarnING")->level, 3U);
   EXPECT_EQ(LogLevel_RowByName("debug15")->level, 23U);
   for (const char *const name : {"none", "", "debug16", "warn", "info "}) {
      EXPECT_EQ(LogLevel_RowByName(name), nullptr) << name;
   }
}

TEST(LogModuleTable, HasUniqueNamesInAscendingOrderAndNoFilterYet) {
   for (uint32_t id = 1; id <= 314; ++id) {
      EXPECT_EQ(Log_ModuleFilter(id)->fileLevel.load(), -1);
      EXPECT_EQ(Log_ModuleFilter(id)->stderrLevel.load(), -1);
      if (id > 1) {
         EXPECT_LT(std::string(Log_ModuleNameById(id - 1)), Log_ModuleNameById(id));
      }
   }
}

TEST(LogModuleTable, TranslatesBetweenNamesAndIds) {
   EXPECT_STREQ(Log_ModuleNameById(0), "");
   EXPECT_EQ(Log_ModuleNameById(315), nullptr);
   EXPECT_EQ(Log_ModuleFilter(0), nullptr);
   EXPECT_EQ(Log_ModuleFilter(315), nullptr);
   for (uint32_t id = 1; id <= 314; ++id) {
      EXPECT_EQ(Log_ModuleIdByName(Log_ModuleNameById(id)), static_cast<int32_t>(id));
   }
   EXPECT_EQ(Log_ModuleIdByName("nobody"), -1);
   EXPECT_EQ(Log_ModuleIdByName("AGENTAPI"), -1) << "case counts";
}
