#include "libs/pcoip_mfw/linux/linux_pcoip_mfw.h"

#include "libs/utils/ConfigSettings.h"

namespace {

bool gIsSetUp = false;

} // namespace

void MfwLog_Init() {
   if (gIsSetUp) {
      return;
   }
   ConfigSettings::Init();
   gIsSetUp = true;
}

void MfwLog_TearDown() {
   ConfigSettings::Shutdown();
}
