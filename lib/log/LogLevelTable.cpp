#include "lib/log/LogLevelTable.h"

#include <array>
#include <strings.h>

namespace {

// Required: "audit" prints as "notice" does, and "verbose" and "trivia" as "info"; the number beside it tells them
// apart.
constexpr std::array<LogLevelRow, kLogLevelCount> kRows{{
   {0, "audit", "No"},    {1, "panic", "Cr"},    {2, "error", "Er"},    {3, "warning", "Wa"},  {4, "notice", "No"},
   {5, "info", "In"},     {6, "verbose", "In"},  {7, "trivia", "In"},   {8, "debug", "Db"},    {9, "debug1", "Db"},
   {10, "debug2", "Db"},  {11, "debug3", "Db"},  {12, "debug4", "Db"},  {13, "debug5", "Db"},  {14, "debug6", "Db"},
   {15, "debug7", "Db"},  {16, "debug8", "Db"},  {17, "debug9", "Db"},  {18, "debug10", "Db"}, {19, "debug11", "Db"},
   {20, "debug12", "Db"}, {21, "debug13", "Db"}, {22, "debug14", "Db"}, {23, "debug15", "Db"},
}};

} // namespace

const LogLevelRow *LogLevel_RowByNumber(uint32_t level) {
   return &kRows[level < kRows.size() ? level : kLogLevelInfo];
}

const LogLevelRow *LogLevel_RowByName(const char *name) {
   for (const LogLevelRow &row : kRows) {
      if (strcasecmp(row.name, name) == 0) {
         return &row;
      }
   }
   return nullptr;
}
