#pragma once

#include <exception>
#include <string>
#include <utility>

namespace platforms {

/// Thrown by a call of the Windows model that this layer does not offer. By value; `what` is its text.
class UnsupportedMethodException final : public std::exception {
public:
   explicit UnsupportedMethodException(std::string text)
       : mText(std::move(text)) {}
   [[nodiscard]] const char *what() const noexcept override { return mText.c_str(); }

private:
   std::string mText;
};

} // namespace platforms
