#pragma once

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

} // namespace mavr
