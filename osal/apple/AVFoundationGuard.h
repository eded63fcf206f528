#pragma once

// For Objective-C++ files only.
#import <AVFoundation/AVFoundation.h>

#include "osal/Status.h"

#include <string>
#include <utility>

namespace osal {

/// What a raised exception comes up as: no framework's error number is positive and so large.
inline constexpr int32_t kRaised = 0x52414953; // RAIS

/// Runs `body`, which talks to a framework; what that raises becomes a status which begins with `what`. `body` must not
/// throw what is C++'s: catching both in one place is not the same on every runtime.
template <typename Body>
Status Guarded(const char *what, Body body) {
   NSString *raised = nil;
   @try {
      body();
   } @catch (NSException *exception) {
      raised = [exception reason] != nil ? [exception reason] : [exception name];
   }
   return raised == nil ? Status::Ok() : Status::Error(kRaised, std::string(what) + ": " + [raised UTF8String]);
}

/// UTF-8 of a text that may be nil, which is empty, or no text at all in UTF-8, which is empty too.
inline std::string Utf8(NSString *text) {
   const char *const utf8 = [text UTF8String];
   return utf8 != nullptr ? utf8 : "";
}

/// What an NSError says; `otherwise` of nil.
inline Status StatusOf(NSError *error, const std::string &what) {
   if (error == nil) {
      return Status::Error(kRaised, what);
   }
   const auto code = static_cast<int32_t>([error code]);
   return Status::Error(code != 0 ? code : kRaised, what + ": " + Utf8([error localizedDescription]));
}

} // namespace osal
