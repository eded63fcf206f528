#pragma once

#include <exception>

/// Calls what an application has written. False when it threw; what ends a thread goes on through. Any thread.
template <class Callback>
[[nodiscard]] bool ReturnsNormally(const Callback &callback) {
   try {
      callback();
      return true;
   } catch (...) {
      if (std::current_exception() == nullptr) {
         throw; // nothing that was thrown: the thread ends itself or is cancelled
      }
      return false;
   }
}
