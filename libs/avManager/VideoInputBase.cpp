#include "libs/avManager/VideoInputBase.h"

#include "libs/avManager/VideoInputMac.h"

std::unique_ptr<VideoInputBase> VideoInputBase::Create() {
   return std::make_unique<VideoInputMac>();
}
