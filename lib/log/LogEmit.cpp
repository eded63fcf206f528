#include "lib/log/LogEmit.h"

#include "lib/log/LogDeferred.h"
#include "lib/log/LogFormat.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace {

constexpr uint32_t kLevelMask = 31;
constexpr unsigned kLevelBits = 5;
constexpr LogRouting kFirstModuleRouting = 32;
constexpr LogRouting kLastModuleRouting = 10079;
static_assert(kLastModuleRouting == (kLogModuleCount << kLevelBits | kLevelMask));

constexpr int64_t kUsPerSecond = 1'000'000;
constexpr int64_t kBurstPauseUs = 100;
constexpr uint32_t kLinesPerName = 64;

constexpr size_t kDrainLimit = 32768;
constinit std::array<char, kDrainLimit + 1> gDrainText{}; // under the lock

/// The finished text of one message, on the stack or in the big buffer.
///
/// Owner: a local of Log_Emit. Threads: one. Life cycle: constructed -> Compose; gives the big buffer back at its end.
class Message {
public:
   explicit Message(LogState *state)
       : mState(state) {}
   ~Message() {
      if (mBig != nullptr) {
         LogState_ReturnBigBuffer(mState, mBig);
      }
   }
   Message(const Message &) = delete;
   Message &operator=(const Message &) = delete;

   /// Formats, completes and masks the text. Once.
   CORVANE_PRINTF(2, 0) void Compose(const char *format, va_list args, int callersErrno) {
      if (!Format(mStack.data(), kLogStackLimit, format, args, callersErrno)) {
         FormatLong(format, args, callersErrno);
      }
      // Lines are counted to the first zero byte: the text ends there, wherever a "%c" has put it.
      mLength = strnlen(mText, mLength);
      if (mLength == 0 || mText[mLength - 1] != '\n') {
         mText[mLength++] = '\n';
         mText[mLength] = '\0';
      }
      Log_MaskText(mText, mLength);
   }

   char *Text() { return mText; }
   size_t Length() const { return mLength; }

private:
   // "%m" prints the errno of the caller, every time.
   CORVANE_PRINTF(4, 0) bool Format(char *buffer, size_t limit, const char *format, va_list args, int callersErrno) {
      errno = callersErrno;
      const int length = Log_FormatText(buffer, limit, format, args);
      mText = buffer;
      mLength = static_cast<size_t>(std::max(length, 0));
      return length >= 0;
   }

   CORVANE_PRINTF(2, 0) void FormatLong(const char *format, va_list args, int callersErrno) {
      mBig = LogState_TakeBigBuffer(mState);
      if (mBig != nullptr && Format(mBig, kLogBigLimit, format, args, callersErrno)) {
         return;
      }
      const size_t limit = mBig != nullptr ? static_cast<size_t>(kLogBigLimit) : static_cast<size_t>(kLogStackLimit);
      char *const buffer = mBig != nullptr ? mBig : mStack.data();
      std::memset(buffer, 0, limit + 1);
      Format(buffer, limit, format, args, callersErrno);
      mLength = Log_TruncateUtf8Line(limit, buffer);
   }

   LogState *mState;
   char *mBig = nullptr;
   char *mText = nullptr;
   size_t mLength = 0;
   std::array<char, kLogStackLimit + 1> mStack; // not cleared: a message costs what it is long
};

void CopyName(char *to, size_t size, const char *from) {
   const size_t length = strnlen(from, size - 1);
   std::memcpy(to, from, length);
   to[length] = '\0';
}

void AskThreadName(char name[kLogThreadNameSize]) {
   const char *const thread = VThreadBase_CurName();
   CopyName(name, kLogThreadNameSize, thread[0] != '\0' ? thread : "*UNKNOWN*");
}

/// How a thread has logged of late. In a burst, lines less than 100 us apart, its name is taken from here: asking the
/// system costs about as much as writing the line. A thread may be renamed at any moment and by anyone, so that each
/// 64th line of a burst asks again, and so do the first 64 and every line outside one.
struct Burst {
   int64_t lastUs;
   uint32_t lines;
   char name[kLogThreadNameSize];
};
thread_local constinit Burst gBurst{};

void TakeThreadName(int64_t nowUs, char name[kLogThreadNameSize]) {
   const int64_t pauseUs = nowUs - gBurst.lastUs;
   gBurst.lines = pauseUs >= 0 && pauseUs < kBurstPauseUs ? gBurst.lines + 1 : 0;
   gBurst.lastUs = nowUs;
   if (gBurst.lines < kLinesPerName || gBurst.lines % kLinesPerName == 0) {
      AskThreadName(gBurst.name);
   }
   std::memcpy(name, gBurst.name, kLogThreadNameSize);
}

void AskForOpId(LogState *state, LogLineHeader *out) {
   // What the provider itself logs has no id: it would be asked again for that line, without end.
   if (state->opIdProvider == nullptr || state->askingForOpId) {
      return;
   }
   const LogCallOut callOut;
   state->askingForOpId = true;
   std::array<char, kLogOpIdSize> id{};
   if (state->opIdProvider(id.size(), id.data())) {
      CopyName(out->opId, sizeof out->opId, id.data());
   }
   state->askingForOpId = false;
}

// Whether the output takes a message of this level and filter. A module's filter has decided already.
bool Wants(const LogOutput &output, const LogState *state, const LogLineHeader *header) {
   return output.fileLevel >= 0 &&
          (header->level->level <= static_cast<uint32_t>(output.fileLevel) || header->filter != &state->filter);
}

void WriteTo(LogState *state, bool multiLine, const LogLineHeader *header, size_t length, const char *text) {
   const LogCallOut callOut;
   const uint32_t count = state->outputCount.load(std::memory_order_relaxed);
   for (uint32_t at = 0; at < count; ++at) {
      LogOutput *const output = state->outputs[at];
      if (output->multiLine == multiLine && Wants(*output, state, header)) {
         output->write(output, header, length, text);
      }
   }
}

bool HasOutput(const LogState *state, bool multiLine) {
   const auto end = state->outputs.begin() + state->outputCount.load(std::memory_order_relaxed);
   return std::any_of(state->outputs.begin(), end,
                      [=](const LogOutput *output) { return output->multiLine == multiLine; });
}

void DeliverToFile(LogState *state, const LogLock &lock, const LogFilter *filter, const LogLevelRow *level,
                   Message *message) {
   LogDeferred_MoveTo(state->earlyRing);
   LogLineHeader header;
   if (lock.IsNested() || state->outputCount.load(std::memory_order_relaxed) == 0) {
      Log_MakeHeader(state, filter, level, &header);
      LogRing_Push(state->earlyRing, header, message->Length(), message->Text());
      return;
   }
   ++state->messageNumber;
   Log_DrainEarlyRing(state);
   Log_MakeHeader(state, filter, level, &header); // after the older ones have been written
   Log_Dispatch(state, &header, message->Length(), message->Text());
}

void WriteToStderr(const char *text) {
   if (stderr != nullptr) {
      std::fputs(text, stderr);
   }
}

} // namespace

LogAdmission Log_Admit(LogRouting routing, const LogFilter *global) {
   const auto level = static_cast<int32_t>(routing & kLevelMask);
   if (level == 0) {
      return {global, true, false};
   }
   const bool module = routing >= kFirstModuleRouting && routing <= kLastModuleRouting;
   const LogFilter *const filter = module ? Log_ModuleFilter(routing >> kLevelBits) : global;
   return {filter, level <= filter->fileLevel.load(std::memory_order_relaxed),
           level <= filter->stderrLevel.load(std::memory_order_relaxed)};
}

LogContext Log_PresentContext() {
   return VThreadBase_IsInSignal() != 0 ? LogContext::SignalHandler : LogContext::Ordinary;
}

void Log_FillHeader(const LogFilter *filter, const LogLevelRow *level, LogContext context, LogLineHeader *out) {
   out->filter = filter;
   out->level = level;
   out->continuation = false;
   out->opId[0] = '\0';
   const osal::WallTime now = osal::Clock::current().wallTime();
   if (context == LogContext::SignalHandler) {
      AskThreadName(out->threadName); // the burst may be what the handler has interrupted
   } else {
      TakeThreadName(now.seconds * kUsPerSecond + now.microseconds, out->threadName);
   }
   Log_FormatTimeStamp(now, &out->stamp, context);
}

void Log_MakeHeader(LogState *state, const LogFilter *filter, const LogLevelRow *level, LogLineHeader *out) {
   Log_FillHeader(filter, level, Log_PresentContext(), out);
   AskForOpId(state, out);
}

void Log_Dispatch(LogState *state, LogLineHeader *header, size_t length, const char *text) {
   state->delivering = true;
   if (HasOutput(state, true)) {
      WriteTo(state, true, header, length, text);
   }
   if (HasOutput(state, false)) {
      const char *const end = text + length; // no zero byte before it: a message ends at its first one
      while (text < end) {
         const void *const newline = std::memchr(text, '\n', static_cast<size_t>(end - text));
         const char *const next = newline != nullptr ? static_cast<const char *>(newline) + 1 : end;
         WriteTo(state, false, header, static_cast<size_t>(next - text), text);
         header->continuation = true;
         text = next;
      }
   }
   state->delivering = false;
}

void Log_DrainEarlyRing(LogState *state) {
   LogRing *const ring = state->earlyRing;
   const uint64_t end = ring->writePosition;
   LogLineHeader header;
   size_t length = 0;
   // An output that fails logs about it, and that lands behind `end`: it must not keep this loop going.
   while (ring->readPosition < end && LogRing_Pop(ring, kDrainLimit, &header, &length, gDrainText.data())) {
      Log_Dispatch(state, &header, length, gDrainText.data());
   }
}

void Log_Emit(LogState *state, LogRouting routing, const char *format, va_list args) {
   if (state->busy.load(std::memory_order_relaxed) != 0) {
      return;
   }
   const LogAdmission admission = Log_Admit(routing, &state->filter);
   if (!admission.file && !admission.toStderr) {
      return;
   }
   const LogErrnoKeeper keeper;
   Message message(state);
   message.Compose(format, args, keeper.Error());
   const LogLevelRow *const level = LogLevel_RowByNumber(routing & kLevelMask);
   const LogLock lock(state);
   if (!lock) {
      if (admission.file && LogLock_IsInterrupted()) {
         LogLineHeader header;
         Log_FillHeader(admission.filter, level, LogContext::SignalHandler, &header);
         LogDeferred_Put(header, message.Length(), message.Text());
      }
      return;
   }
   if (admission.toStderr) {
      WriteToStderr(message.Text());
   }
   if (admission.file) {
      DeliverToFile(state, lock, admission.filter, level, &message);
   }
}
