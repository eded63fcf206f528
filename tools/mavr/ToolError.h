#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

namespace mavr {

/// What ends a command: the fault, one sentence, and what the user can do about it, another. main prints both.
class ToolError : public std::runtime_error {
public:
   ToolError(const std::string &text, std::string hint)
       : std::runtime_error(text)
       , mHint(std::move(hint)) {}
   [[nodiscard]] const std::string &Hint() const { return mHint; }

private:
   std::string mHint;
};

/// For a file that cannot be made or takes no more, with what errno says.
[[noreturn]] inline void CannotWrite(const std::string &path) {
   throw ToolError("'" + path + "' cannot be written: " + std::strerror(errno) + ".",
                   "Is the folder there, and is there room?");
}

} // namespace mavr
