#pragma once

#include <cstdint>

namespace mavr {

/// One line of a terminal that is written again and again while something runs. Nothing where standard error is no
/// terminal. Owner: a command. Threads: one.
class LiveLine {
public:
   LiveLine();
   ~LiveLine() { End(); }
   LiveLine(const LiveLine &) = delete;
   LiveLine &operator=(const LiveLine &) = delete;

   /// Whether it is time for the next one; some times a second, never without a terminal.
   [[nodiscard]] bool IsDue() const;
   void Show(const char *format, ...) __attribute__((format(printf, 2, 3)));
   /// Takes the line away.
   void End();

private:
   const bool mIsTerminal;
   uint64_t mShownNs = 0;
   bool mIsShown = false;
};

} // namespace mavr
