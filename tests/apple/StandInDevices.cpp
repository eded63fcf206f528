#include "osal/Platform.h"
#include "osal/apple/AppleCapture.h"
#include "osal/apple/AppleDevices.h"
#include "osal/apple/ApplePreferences.h"
#include "osal/apple/fakes/AppleEnvironment.h"
#include "osal/apple/fakes/Fakes.h"

#include <cstdio>

// Round the main function of a program that is linked with --wrap=main: puts the Mac's backend and the stand-ins'
// devices in force before it, and gives status 3 when objects of the frameworks are left after it.

extern "C" {

int __real_main(int argc, char **argv);
int __wrap_main(int argc, char **argv);

int __wrap_main(int argc, char **argv) {
   fakes::WarmUp();
   const fakes::CameraFacts desk{"FaceTime Camera", "cam-2", {{0x34323076, 640, 480}, {0x34323076, 1280, 720}}};
   const fakes::CameraFacts door{"FaceTime Camera", "cam-1", {{0x32767579, 320, 240}}, true};
   fakes::ShowDevices({desk, door}, {{"MacBook Microphone", "mic-1"}, {"MacBook Speakers", "out-1", false}});
   const std::unique_ptr<osal::Devices> devices = osal::MakeAppleDevices();
   const std::unique_ptr<osal::Capture> capture = osal::MakeAppleCapture();
   const osal::ScopedDevices devicesInForce(*devices);
   const osal::ScopedCapture captureInForce(*capture);
   const osal::ScopedPreferences preferencesInForce(&osal::MakeApplePreferences);

   const int status = __real_main(argc, argv);

   fakes::ShowDevices({}, {});
   fakes::ForgetPreferences();
   fakes::AwaitIdleQueues();
   const size_t left = fakes::LiveObjects();
   if (left != 0) {
      std::fprintf(stderr, "%zu objects of the frameworks are left\n", left);
   }
   return left == 0 ? status : 3;
}

} // extern "C"
