#pragma once

#include <cstddef>

namespace fakes {

/// Objects of the stand-ins that are alive now: what a test that has let go of everything must bring to 0. Any thread.
[[nodiscard]] size_t LiveObjects();

/// Counts the object that it is a member of. Any thread.
class Counted {
public:
   Counted();
   ~Counted();
   Counted(const Counted &) = delete;
   Counted &operator=(const Counted &) = delete;
};

/// Ends the process: the code under test did what the real framework answers with a crash.
[[noreturn]] void Refuse(const char *what);

} // namespace fakes
