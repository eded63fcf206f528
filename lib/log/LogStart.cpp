#include "lib/log/Log.h"

#include "lib/corvanebase/owners.h"
#include "lib/log/LogFileOutput.h"
#include "lib/log/LogState.h"

#include <new>

namespace {

enum class Purge { No, Yes };

// The last words of a process that ends itself.
void KeepPanicText(const char *text) {
   Log_Level(kLogLevelPanic, "%s", text);
}

LogOutput *Start(const char *prefix, const Dictionary *dictionary, const LogConfigSource *source, Purge purge) {
   LogOutput *const output = Log_CreateFileOutput(prefix, "file", dictionary, source);
   if (output == nullptr) {
      return nullptr;
   }
   if (purge == Purge::Yes) {
      LogFile_PurgeDead(output, nullptr, nullptr);
   }
   if (!Log_AddOutput(output)) {
      Log_ReleaseOutput(output);
      return nullptr;
   }
   Panic_SetSink(&KeepPanicText);
   Log_LoadModuleFilters(prefix, source);
   if (source != nullptr) {
      LogLevel_UserExtensionCreate();
      LogLevel_Configure(source);
   }
   return output;
}

} // namespace

LogOutput *Log_Start(const char *prefix, const Dictionary *dictionary, const LogConfigSource *source, bool purgeOld) {
   const LogErrnoKeeper keeper;
   return Start(prefix, dictionary, source, purgeOld ? Purge::Yes : Purge::No);
}

LogOutput *Log_StartWithPath(const char *prefix, const LogConfigSource *source, const char *path) {
   const LogErrnoKeeper keeper;
   try {
      const corvanebase::OwnedDictionary dictionary(Dictionary_Create());
      Dict_SetString(dictionary.get(), path, "log.fileName");
      return Start(prefix, dictionary.get(), source, Purge::No);
   } catch (const std::bad_alloc &) {
      Log_Warning("%s: out of memory\n", "Log_StartWithPath");
      return nullptr;
   }
}
