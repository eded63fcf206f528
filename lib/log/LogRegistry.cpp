#include "lib/log/LogRegistry.h"

#include "lib/log/Log.h"
#include "lib/log/LogEmit.h"
#include "lib/log/LogFileOutput.h"
#include "lib/log/LogKeys.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace {

constexpr int32_t kNoLevel = -1;

LogOutput **Begin() {
   return gLogState.outputs.data();
}

LogOutput **End() {
   return gLogState.outputs.data() + gLogState.outputCount.load(std::memory_order_relaxed);
}

LogOutput **Find(const LogOutput *output) {
   return std::find(Begin(), End(), output);
}

void SetFilter(int32_t fileLevel, int32_t stderrLevel) {
   gLogState.filter.fileLevel.store(fileLevel, std::memory_order_relaxed);
   gLogState.filter.stderrLevel.store(stderrLevel, std::memory_order_relaxed);
}

// The global pair lets through what at least one output takes. Required: standard error goes by the first output alone.
void RecomputeFilter() {
   if (Begin() == End()) {
      return;
   }
   int32_t fileLevel = kNoLevel;
   for (LogOutput **output = Begin(); output != End(); ++output) {
      fileLevel = std::max(fileLevel, (*output)->fileLevel);
   }
   SetFilter(fileLevel, (*Begin())->stderrLevel);
}

bool SameKindAndName(const LogOutput &left, const LogOutput &right) {
   return left.tag == right.tag && std::strcmp(left.name, right.name) == 0;
}

// Whether the output may join those that are attached.
bool MayJoin(const LogOutput &output) {
   if (End() - Begin() >= static_cast<ptrdiff_t>(kLogMaxOutputs)) {
      return false;
   }
   uint32_t present = 0;
   for (LogOutput **other = Begin(); other != End(); ++other) {
      const uint32_t bit = LogRegistry_KindBit((*other)->tag);
      if (*other == &output || SameKindAndName(**other, output) || bit == 0) {
         return false;
      }
      present |= bit;
   }
   return LogRegistry_KindsAgree(present, output.tag);
}

bool Start(LogOutput *output) {
   output->owner = &gLogState;
   return output->start(output);
}

LogFilter *FilterOf(uint32_t id) {
   return id == 0 ? &gLogState.filter : Log_ModuleFilter(id);
}

int32_t GetLevel(uint32_t id, std::atomic<int32_t> LogFilter::*level) {
   const LogFilter *const filter = FilterOf(id);
   return filter != nullptr ? (filter->*level).load(std::memory_order_relaxed) : kNoLevel;
}

int32_t SetLevel(uint32_t id, std::atomic<int32_t> LogFilter::*level, int32_t value) {
   LogFilter *const filter = FilterOf(id);
   if (filter == nullptr) {
      return kNoLevel;
   }
   (filter->*level).store(value, std::memory_order_relaxed);
   return value;
}

// Whether `old` can give its place to `replacement`, or to none.
bool MayReplace(const LogOutput *old, const LogOutput *replacement, bool merge) {
   if (old == nullptr || Find(old) == End() || (merge && (replacement == nullptr || old->tag != kLogOutputFile))) {
      return false;
   }
   return replacement == nullptr || (Find(replacement) == End() && SameKindAndName(*old, *replacement));
}

// Null, logged, when out of memory.
LogText CopyOfPath(const LogOutput *output) {
   try {
      return LogText(Unicode_Duplicate(LogFile_GetPath(output)));
   } catch (const std::bad_alloc &) {
      Log_Warning("%s: out of memory\n", "Log_ReplaceOutput");
      return nullptr;
   }
}

// `mergedPath`: the file that moves into the replacement's, or null.
void PutInPlaceOf(LogOutput *old, LogOutput *replacement, const char *mergedPath) {
   LogOutput **const place = Find(old);
   if (replacement == nullptr) {
      *place = *(End() - 1);
      *(End() - 1) = nullptr;
      gLogState.outputCount.fetch_sub(1);
   } else {
      *place = replacement;
      if (mergedPath != nullptr) {
         const LogCallOut callOut;
         LogFile_Merge(mergedPath, replacement);
      }
   }
   if (Begin() == End()) {
      SetFilter(kLogLevelInfo, kNoLevel);
   }
   RecomputeFilter();
}

void LoadLevel(const LogKeys &keys, const char *key, std::atomic<int32_t> *level) {
   if (const LogText word = keys.String(key, nullptr); word != nullptr) {
      const LogLevelRow *const row = LogLevel_RowByName(word.get());
      level->store(row != nullptr ? static_cast<int32_t>(row->level) : kNoLevel, std::memory_order_relaxed);
   }
}

} // namespace

uint32_t LogRegistry_KindBit(uint32_t tag) {
   switch (tag) {
   case kLogOutputFile:
      return 1;
   case kLogOutputKind2:
      return 2;
   case kLogOutputKind3:
      return 4;
   case kLogOutputKind4:
      return 8;
   case kLogOutputKind5:
      return 16;
   default:
      return 0;
   }
}

bool LogRegistry_KindsAgree(uint32_t presentBits, uint32_t tag) {
   switch (tag) {
   case kLogOutputFile:
   case kLogOutputKind3:
      return (presentBits & 24) == 0;
   case kLogOutputKind2:
      return (presentBits & 26) == 0;
   case kLogOutputKind4:
      return (presentBits & 23) == 0;
   case kLogOutputKind5:
      return presentBits == 0;
   default:
      return false;
   }
}

bool Log_AddOutput(LogOutput *output) {
   const LogErrnoKeeper keeper;
   if (output == nullptr || !Start(output)) {
      return false;
   }
   const LogLock lock(&gLogState);
   if (!lock || !MayJoin(*output)) {
      return false;
   }
   *End() = output;
   const bool first = gLogState.outputCount.fetch_add(1) == 0;
   RecomputeFilter();
   if (first) {
      ++gLogState.messageNumber;
      Log_DrainEarlyRing(&gLogState);
   }
   return true;
}

bool Log_ReleaseOutput(LogOutput *output) {
   const LogErrnoKeeper keeper;
   if (output == nullptr) {
      return true;
   }
   {
      const LogLock lock(&gLogState);
      if (!lock || Find(output) != End()) {
         return false;
      }
   }
   output->destroy(output);
   return true;
}

bool Log_ReplaceOutput(LogOutput *old, LogOutput *replacement, bool merge) {
   const LogErrnoKeeper keeper;
   if (replacement != nullptr && !Start(replacement)) {
      return false;
   }
   {
      const LogLock lock(&gLogState);
      if (!lock || !MayReplace(old, replacement, merge)) {
         return false;
      }
      const LogText mergedPath = merge ? CopyOfPath(old) : nullptr;
      if (merge && mergedPath == nullptr) {
         return false;
      }
      PutInPlaceOf(old, replacement, mergedPath.get());
   }
   old->destroy(old);
   return true;
}

void Log_Stop() {
   const LogErrnoKeeper keeper;
   std::array<LogOutput *, kLogMaxOutputs> outputs{};
   uint32_t count = 0;
   {
      const LogLock lock(&gLogState);
      if (!lock) {
         return;
      }
      outputs = gLogState.outputs;
      count = gLogState.outputCount.exchange(0);
      gLogState.outputs = {};
      gLogState.busy.store(0);
      gLogState.opIdProvider = nullptr;
   }
   // The depth is 0 again by now; only without a lock may it be set here, where another thread may hold the lock.
   if (gLogState.noLock.exchange(false)) {
      gLogState.depth.store(0, std::memory_order_relaxed);
   }
   for (uint32_t at = 0; at < count; ++at) {
      outputs[at]->destroy(outputs[at]);
   }
}

void Log_LoadModuleFilters(const char *prefix, const LogConfigSource *source) {
   const LogErrnoKeeper keeper;
   try {
      for (uint32_t id = 1; id <= kLogModuleCount; ++id) {
         const LogKeys keys(prefix, Log_ModuleNameById(id), nullptr, source);
         LogFilter *const filter = Log_ModuleFilter(id);
         LoadLevel(keys, "log.filter.minLogLevel", &filter->fileLevel);
         LoadLevel(keys, "log.filter.minStderrLevel", &filter->stderrLevel);
      }
   } catch (const std::bad_alloc &) { // the rest stay as they are: a log without them is better than none
      Log_Warning("%s: out of memory\n", "Log_LoadModuleFilters");
   }
}

int32_t Log_GetFileLevel(uint32_t id) {
   return GetLevel(id, &LogFilter::fileLevel);
}

int32_t Log_SetFileLevel(uint32_t id, int32_t level) {
   return SetLevel(id, &LogFilter::fileLevel, level);
}

int32_t Log_GetStderrLevel(uint32_t id) {
   return GetLevel(id, &LogFilter::stderrLevel);
}

int32_t Log_SetStderrLevel(uint32_t id, int32_t level) {
   return SetLevel(id, &LogFilter::stderrLevel, level);
}

int32_t Log_SetOutputLevel(LogOutput *output, int32_t level) {
   const LogErrnoKeeper keeper;
   const LogLock lock(&gLogState);
   const int32_t former = output->fileLevel;
   if (lock) {
      output->fileLevel = level;
      RecomputeFilter();
   }
   return former;
}

bool Log_IsEnabled(LogRouting routing) {
   constexpr LogRouting kHighest = 10079;
   return routing <= kHighest && Log_HasOutputs() && Log_Admit(routing, &gLogState.filter).file;
}

bool Log_HasOutputs() {
   return gLogState.outputCount.load(std::memory_order_relaxed) != 0;
}

const char *Log_GetFilePath() {
   const LogErrnoKeeper keeper;
   const LogLock lock(&gLogState);
   if (!lock) {
      return nullptr;
   }
   LogOutput **const found =
      std::find_if(Begin(), End(), [](const LogOutput *output) { return output->tag == kLogOutputFile; });
   return found != End() ? LogFile_GetPath(*found) : nullptr;
}

void Log_DisableThrottling() {
   const LogErrnoKeeper keeper;
   const LogLock lock(&gLogState);
   if (lock) {
      std::for_each(Begin(), End(), [](LogOutput *output) { output->stopThrottling(output); });
   }
}

void Log_SetOpIdProvider(LogOpIdProvider provider) {
   const LogErrnoKeeper keeper;
   const LogLock lock(&gLogState);
   if (lock) {
      gLogState.opIdProvider = provider;
   }
}

void Log_SetNoLock(bool noLock) {
   gLogState.noLock.store(noLock);
}
