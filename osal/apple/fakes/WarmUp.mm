#import <Foundation/Foundation.h>

#include "osal/apple/fakes/AppleEnvironment.h"

#if __has_feature(address_sanitizer)
#include <sanitizer/lsan_interface.h>
#endif

void fakes::WarmUp() {
#if __has_feature(address_sanitizer)
   __lsan_disable();
#endif
   @autoreleasepool {
      [NSThread currentThread]; // the base library is set up before any thread of ours
      [NSArray array];
      [NSMutableArray array];
      [NSDictionary dictionary];
      [NSNumber numberWithInt:1];
      [NSNumber numberWithBool:YES];
      [NSString stringWithFormat:@"%d", 1];
      [NSAssertionHandler currentHandler];
      [NSNotificationCenter defaultCenter];
      @try {
         [NSException raise:NSGenericException format:@"%s", "the first"];
      } @catch (NSException *) {
      }
   }
#if __has_feature(address_sanitizer)
   __lsan_enable();
#endif
}
