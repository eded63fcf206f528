#pragma once

#include "lib/log/LogLine.h"

#include <cstddef>
#include <cstdint>

struct LogState;

/// Kinds of outputs, as their tags say. Only the file output is built here; the others are reserved, and the registry
/// knows which of them go together.
enum LogOutputTag : uint32_t {
   kLogOutputFile = 0x12345,
   kLogOutputKind2 = 0x23456,
   kLogOutputKind3 = 0x34567,
   kLogOutputKind4 = 0x45678,
   kLogOutputKind5 = 0x56789
};

/// The common head of every output: what the log knows of it.
///
/// Owner: whoever created it, until Log_AddOutput has said true; then the log. Threads: one at a time; `write` and
/// `stopThrottling` run under the log's lock, `start` and `destroy` outside it. Life cycle: created -> start (by
/// Log_AddOutput) -> write* -> destroy. A message that an output logs while the log calls it waits in the early ring
/// until the next ordinary message.
struct LogOutput {
   uint8_t head[4] = {1, 1, 1, 1}; ///< zero in an output that has been destroyed
   uint32_t tag = 0;
   bool multiLine = false; ///< wants a message whole; otherwise each of its lines by itself
   char *name = nullptr;   ///< owned
   LogState *owner = nullptr;
   int32_t fileLevel = kLogLevelInfo;
   int32_t stderrLevel = -1;

   /// Takes one line (or message), newline included; `text` is terminated behind `length` bytes or ends a longer text.
   void (*write)(LogOutput *output, const LogLineHeader *header, size_t length, const char *text) = nullptr;
   bool (*start)(LogOutput *output) = nullptr; ///< true: it can take lines; again: at once true
   void (*destroy)(LogOutput *output) = nullptr;
   void (*stopThrottling)(LogOutput *output) = nullptr;
};
