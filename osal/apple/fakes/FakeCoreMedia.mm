#include "osal/apple/fakes/FakeCoreMedia.h"

@implementation FakeFormatDescription
@end

extern "C" {

CMTime CMTimeMake(int64_t value, int32_t timescale) {
   return {value, timescale, kCMTimeFlags_Valid, 0};
}

CMVideoDimensions CMVideoFormatDescriptionGetDimensions(CMVideoFormatDescriptionRef description) {
   return fakes::As<FakeFormatDescription>(description, "CMVideoFormatDescriptionGetDimensions")->mDimensions;
}

FourCharCode CMFormatDescriptionGetMediaSubType(CMFormatDescriptionRef description) {
   return fakes::As<FakeFormatDescription>(description, "CMFormatDescriptionGetMediaSubType")->mMediaSubType;
}

} // extern "C"
