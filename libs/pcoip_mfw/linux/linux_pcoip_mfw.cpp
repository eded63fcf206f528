#include "libs/pcoip_mfw/linux/linux_pcoip_mfw.h"

#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/owners.h"
#include "lib/log/Log.h"
#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "libs/utils/RegUtils.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr char kSource[] = "libs/pcoip_mfw/linux/linux_pcoip_mfw";
constexpr LogRouting kPanicLevel = 1;

bool gLogStarted = false;
bool gStarted = false;
std::atomic<int32_t> mfwLogLevel{logger::DEBUG};

corvanebase::OwnedDictionary LogSettings() {
   corvanebase::OwnedDictionary dictionary(Dictionary_Create());
   Dict_SetLong(dictionary.get(), 7, "log.logMinLevel");
   Dict_SetString(dictionary.get(), "MAVR.log.fileName", "log.config");
   Dict_SetString(dictionary.get(), "MAVR", "log.suffix");
   return dictionary;
}

void LogPanic(const char *text) {
   Log_Level(kPanicLevel, "%s", text);
}

// Once: a start that is tried again reads the same files.
void ReportConfigurationTrouble() {
   static bool gReported = false;
   if (const char *const trouble = Preference_Trouble(); trouble != nullptr && !gReported) {
      gReported = true;
      Log_Warning("Configuration file not used: %s\n", trouble);
   }
}

bool StartLog() {
   const auto dictionary = LogSettings();
   Preference_Init();
   Panic_Init();
   Panic_SetSink(&LogPanic);
   const LogConfigSource *const source = Log_GetConfigSource();
   Log_SetProduct(ProductState_GetName(), ProductState_GetVersion(), ProductState_GetBuildNumberString(),
                  ProductState_GetCompilationOption());
   const bool started = Log_Start("MAVR", dictionary.get(), source, false) != nullptr;
   ReportConfigurationTrouble();
   return started;
}

// Required: there is no word for WARN.
std::optional<int32_t> LevelOfWord(std::string_view word) {
   struct Row {
      std::string_view word;
      logger::Level level;
   };
   static constexpr std::array kRows{Row{"trace", logger::TRACE}, Row{"debug", logger::DEBUG},
                                     Row{"info", logger::INFO}, Row{"error", logger::ERROR}};
   const auto *const found =
      std::find_if(kRows.begin(), kRows.end(), [word](const Row &row) { return row.word == word; });
   return found != kRows.end() ? std::optional<int32_t>(found->level) : std::nullopt;
}

// What MfwLog_Redirect drops is not even formatted. It never drops from WARN on, whatever the level.
void SetLogLevel(int32_t level) {
   mfwLogLevel.store(level, std::memory_order_relaxed);
   logger::SetDropBelow(std::min<int>(level, logger::WARN));
}

void ReadLogLevel() {
   const std::string word = ConfigSettings::GetString("LogLevel", "debug");
   const std::optional<int32_t> level = LevelOfWord(word);
   if (!level.has_value()) {
      Log_Info("Bad log level specified, '%s'\n", word.c_str());
   } else if (*level != mfwLogLevel.load(std::memory_order_relaxed)) {
      Log_Info("Switching to log level '%s'\n", word.c_str());
   }
   SetLogLevel(level.value_or(logger::DEBUG));
}

void ReadCiMode() {
   if (RegUtils::GetString("", "ciEnabled", "") == "true") {
      Log_SetStderrLevel(0, -1);
      Log_Info("In CI mode. close stderr");
   }
}

} // namespace

void MfwLog_Init() {
   if (gStarted) {
      return;
   }
   gLogStarted = gLogStarted || StartLog();
   // Until the level is read, the callback alone decides: a start that is tried again may lower it.
   logger::Instance().SetCallback(&MfwLog_Redirect);
   ConfigSettings::Init();
   ReadLogLevel();
   Log_Info("Redirected MFW log output to standard sorv logging.\n");
   ReadCiMode();
   gStarted = gLogStarted; // last: a start that memory has cut short goes on where it ended
}

void MfwLog_TearDown() {
   ConfigSettings::Shutdown();
}

void MfwLog_Redirect(const char *message, int level) {
   switch (level) {
   case logger::TRACE:
   case logger::DEBUG:
   case logger::INFO:
      if (MfwLog_Level() <= level) {
         Log_Info("MAVR: %s", message);
      }
      return;
   case logger::WARN:
   case logger::ERROR:
      Log_Warning("MAVR: %s", message);
      return;
   case logger::FATAL:
      Panic("MAVR: %s", message);
   default:
      Panic("NOT_REACHED %s:%d\n", kSource, __LINE__);
   }
}

int32_t MfwLog_Level() {
   return mfwLogLevel.load(std::memory_order_relaxed);
}
