#pragma once

// What the Objective-C++ files of the stand-ins share: every opaque reference of CoreFoundation, CoreMedia and
// CoreVideo is an object of one of these classes, as on a Mac, so that CFRetain and CFRelease take AVFoundation's
// objects too.
#import <Foundation/Foundation.h>

#include <CoreFoundation/CoreFoundation.h>

#include "osal/apple/fakes/LiveObjects.h"

#include <string>

/// Counted from its birth to its end.
@interface FakeObject : NSObject {
@public
   fakes::Counted mCounted;
}
@end

@interface FakeString : FakeObject {
@public
   std::string mUtf8;
}
@end

@interface FakeNumber : FakeObject {
@public
   bool mIsReal;
   int64_t mInteger;
   double mReal;
}
@end

namespace fakes {

/// The object behind a reference. Null ends the process, and so does an object of another class: a framework would
/// crash, at the latest some lines further on.
[[nodiscard]] id Object(CFTypeRef reference, const char *function);

/// Releases it. GNUstep counts references where no sanitizer sees it: this makes visible that what a thread did to the
/// object comes before another one frees it.
void Release(id object);

template <class Class>
[[nodiscard]] Class *As(CFTypeRef reference, const char *function) {
   id object = Object(reference, function);
   if (![object isKindOfClass:[Class class]]) {
      Refuse(function);
   }
   return (Class *)object;
}

} // namespace fakes
