#include "lib/corvanebase/corvanebase.h"

#include <atomic>

namespace {
std::atomic<const LogConfigSource *> gConfiguredBy{nullptr};
}

void LogLevel_UserExtensionCreate(void) {
   gConfiguredBy.store(nullptr);
}

void LogLevel_Configure(const LogConfigSource *source) {
   gConfiguredBy.store(source);
}

const LogConfigSource *LogLevel_ConfiguredBy(void) {
   return gConfiguredBy.load();
}
