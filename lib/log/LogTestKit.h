#pragma once

#include "lib/corvanebase/corvanebase.h"
#include "lib/log/Log.h"
#include "lib/log/LogEmit.h"
#include "lib/log/LogFileOutput.h"
#include "lib/log/LogOutput.h"
#include "lib/log/LogState.h"

#include "tests/kit/ManualClock.h"
#include "tests/kit/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

namespace logtest {

CORVANE_PRINTF(1, 0) inline std::string FormatV(const char *format, va_list args) {
   std::vector<char> text(80000);
   const int length = std::vsnprintf(text.data(), text.size(), format, args);
   return std::string(text.data(), static_cast<size_t>(length));
}

/// An output that keeps what it gets. Owner: the test; at the end of its life it leaves the log.
struct CaptureOutput : LogOutput {
   struct Line {
      uint32_t level;
      bool continuation;
      std::string stamp;
      std::string thread;
      std::string opId;
      std::string text; ///< with its newline
   };

   explicit CaptureOutput(const char *outputName = "capture", uint32_t outputTag = kLogOutputKind3) {
      tag = outputTag;
      name = const_cast<char *>(outputName);
      fileLevel = 23;
      write = [](LogOutput *output, const LogLineHeader *header, size_t length, const char *text) {
         auto *const self = static_cast<CaptureOutput *>(output);
         self->lines.push_back({header->level->level, header->continuation,
                                std::string(header->stamp.dateTime) + header->stamp.milliseconds + header->stamp.zone,
                                header->threadName, header->opId, std::string(text, length)});
         if (self->onWrite != nullptr) {
            self->onWrite();
         }
      };
      start = [](LogOutput *output) {
         auto *const self = static_cast<CaptureOutput *>(output);
         ++self->starts;
         return self->startResult;
      };
      destroy = [](LogOutput *output) {
         ++static_cast<CaptureOutput *>(output)->destroys;
      };
      stopThrottling = [](LogOutput *output) {
         ++static_cast<CaptureOutput *>(output)->stops;
      };
   }

   ~CaptureOutput() { Log_ReplaceOutput(this, nullptr, false); }
   CaptureOutput(const CaptureOutput &) = delete;
   CaptureOutput &operator=(const CaptureOutput &) = delete;

   /// Whether a line of exactly this level and text has come. The format is the message's own, written out.
   bool Saw(uint32_t level, const char *format, ...) const CORVANE_PRINTF(3, 4) {
      va_list args;
      va_start(args, format);
      const std::string wanted = FormatV(format, args);
      va_end(args);
      return std::any_of(lines.begin(), lines.end(),
                         [&](const Line &line) { return line.level == level && line.text == wanted; });
   }
   [[nodiscard]] std::string Dump() const {
      std::string all;
      for (const Line &line : lines) {
         all += std::to_string(line.level) + " " + line.text;
      }
      return all;
   }

   std::vector<Line> lines;
   void (*onWrite)() = nullptr;
   bool startResult = true;
   int starts = 0;
   int destroys = 0;
   int stops = 0;
};

/// How often `part` is in `text`.
inline size_t CountOf(const std::string &text, const std::string &part) {
   size_t count = 0;
   for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
      ++count;
   }
   return count;
}

/// Whether `text` is exactly this message. The format is the message's own, written out.
CORVANE_PRINTF(2, 3) inline bool Saw(const char *text, const char *format, ...) {
   va_list args;
   va_start(args, format);
   const std::string wanted = FormatV(format, args);
   va_end(args);
   return wanted == text;
}

/// Whether the name is there, a dangling link included.
inline bool Exists(const std::string &path) {
   struct stat file {};
   return lstat(path.c_str(), &file) == 0;
}

/// While it lives, no file of this process grows beyond `bytes`: a write across that size is short, one behind it fails
/// with EFBIG.
class SizeLimit {
public:
   explicit SizeLimit(rlim_t bytes) {
      std::signal(SIGXFSZ, SIG_IGN);
      getrlimit(RLIMIT_FSIZE, &mFormer);
      const rlimit limit{bytes, mFormer.rlim_max};
      setrlimit(RLIMIT_FSIZE, &limit);
   }
   ~SizeLimit() { setrlimit(RLIMIT_FSIZE, &mFormer); }
   SizeLimit(const SizeLimit &) = delete;
   SizeLimit &operator=(const SizeLimit &) = delete;

private:
   rlimit mFormer{};
};

/// A process with folders of its own, a clock by hand and a log in its first state.
class LogFixture : public ::testing::Test {
protected:
   LogFixture() {
      setenv("XDG_STATE_HOME", folder.Path().c_str(), 1);
      setenv("XDG_CONFIG_HOME", folder.Path().c_str(), 1);
   }
   ~LogFixture() override { Log_Stop(); }

   /// Attaches a file output on `name` whose keys are `keys`, "key=value" each; null when it cannot start.
   LogOutput *StartFile(const std::string &name, const std::vector<std::string> &keys = {}) {
      LogOutput *const output = CreateFile(name, keys);
      if (output != nullptr && !Log_AddOutput(output)) {
         Log_ReleaseOutput(output);
         return nullptr;
      }
      return output;
   }
   /// The same, unattached. An empty name: the default name.
   static LogOutput *CreateFile(const std::string &name, const std::vector<std::string> &keys = {}) {
      Dictionary *const dictionary = Dictionary_Create();
      if (!name.empty()) {
         Dict_SetString(dictionary, name.c_str(), "log.fileName");
      }
      for (const std::string &key : keys) {
         const size_t equals = key.find('=');
         Dict_SetString(dictionary, key.substr(equals + 1).c_str(), key.substr(0, equals).c_str());
      }
      LogOutput *const output = Log_CreateFileOutput(nullptr, "file", dictionary, nullptr);
      Dictionary_Free(dictionary);
      return output;
   }
   static LogFileOutput *AsFile(LogOutput *output) { return static_cast<LogFileOutput *>(output); }
   /// A file output on `path` that rotates at the next line.
   LogFileOutput *StartDue(const std::vector<std::string> &keys = {}) {
      std::vector<std::string> all = {"log.rotateSize=100000"};
      all.insert(all.end(), keys.begin(), keys.end());
      LogFileOutput *const file = AsFile(StartFile(path, all));
      file->fileSize = 100001;
      return file;
   }
   /// What comes from now on, and the early ring of a start that has failed: attached at the first call.
   CaptureOutput &Captured() {
      if (capture.starts == 0) {
         EXPECT_TRUE(Log_AddOutput(&capture));
      }
      return capture;
   }

   kit::TempDir folder;
   std::string path = folder / "my.log";
   CaptureOutput capture;
   kit::ManualClock clock;
};

} // namespace logtest
