#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace kit {

/// Takes the component log of a test: installs itself as the callback of `logger` and keeps every message.
///
/// Owner: the test, one at a time. Threads: any thread may log meanwhile. Life cycle: from construction to destruction;
/// then messages go to standard output again.
class LogCapture {
public:
   struct Line {
      int level;        ///< logger::Level
      std::string text; ///< without its line feed
   };

   LogCapture();
   ~LogCapture();
   LogCapture(const LogCapture &) = delete;
   LogCapture &operator=(const LogCapture &) = delete;

   /// Whether a message of exactly this level and text has come. The format is the message's own, written out, so that
   /// `script/messages` finds in the tests which messages are seen, and where.
   bool Saw(int level, const char *format, ...) const __attribute__((format(printf, 3, 4)));
   /// How many times.
   int Count(int level, const char *format, ...) const __attribute__((format(printf, 3, 4)));
   /// How many messages of a level came.
   int CountLevel(int level) const;

   std::vector<Line> Lines() const;
   /// All of it as text, for failure messages.
   std::string Dump() const;
   void Clear();

private:
   static void Receive(const char *text, int level);

   mutable std::mutex mLock;
   std::vector<Line> mLines;
};

} // namespace kit
