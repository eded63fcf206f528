// A stand-in for the framework's header: what osal/apple uses of it, and nothing that a Mac lacks.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

typedef UInt32 AudioObjectID;
typedef AudioObjectID AudioDeviceID;
typedef UInt32 AudioObjectPropertySelector;
typedef UInt32 AudioObjectPropertyScope;
typedef UInt32 AudioObjectPropertyElement;

struct AudioObjectPropertyAddress {
   AudioObjectPropertySelector mSelector;
   AudioObjectPropertyScope mScope;
   AudioObjectPropertyElement mElement;
};

// Four characters each, the first in the highest byte.
enum : UInt32 {
   kAudioObjectSystemObject = 1,
   kAudioHardwarePropertyDevices = 0x64657623,   // dev#
   kAudioDevicePropertyStreams = 0x73746D23,     // stm#
   kAudioObjectPropertyName = 0x6C6E616D,        // lnam
   kAudioDevicePropertyDeviceUID = 0x75696420,   // "uid "
   kAudioObjectPropertyScopeGlobal = 0x676C6F62, // glob
   kAudioObjectPropertyScopeInput = 0x696E7074,  // inpt
   kAudioFormatLinearPCM = 0x6C70636D,           // lpcm
};
enum : OSStatus {
   kAudioHardwareBadObjectError = 0x216F626A,       // !obj
   kAudioHardwareUnknownPropertyError = 0x77686F3F, // who?
   kAudioHardwareBadPropertySizeError = 0x2173697A, // !siz
};

extern "C" {

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                        UInt32 qualifierSize, const void *qualifier, UInt32 *outSize);
OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                    UInt32 qualifierSize, const void *qualifier, UInt32 *ioSize, void *outData);

} // extern "C"
