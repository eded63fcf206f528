#include "libs/avManager/AudioCaptureBase.h"

#include "libs/avManager/AudioCaptureMac.h"

std::unique_ptr<AudioCaptureBase> AudioCaptureBase::Create() {
   return std::make_unique<AudioCaptureMac>();
}
