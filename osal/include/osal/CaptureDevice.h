#pragma once

#include "osal/Status.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace osal {

/// Four characters as a 32-bit code, first character in the highest byte: FourCC("420f") == 0x34323066.
[[nodiscard]] constexpr uint32_t FourCC(const char (&text)[5]) {
   uint32_t code = 0;
   for (int i = 0; i < 4; ++i) {
      code = (code << 8) | static_cast<unsigned char>(text[i]);
   }
   return code;
}

/// Width and height in pixels.
struct VideoDimensions {
   int32_t width = 0;
   int32_t height = 0;
   friend bool operator==(const VideoDimensions &, const VideoDimensions &) = default;
};

/// One capture format of a camera. The same size may come in several pixel formats and rates.
struct CaptureDeviceFormat {
   uint32_t mediaSubType = 0; ///< pixel format as a FourCC: '420v', '420f', 'yuvs', '2vuy', 'jpeg', 'BGRA', ...
   VideoDimensions dimensions;
   double minFrameRate = 0; ///< frames a second; 0 when the camera does not say
   double maxFrameRate = 0;
};

enum class MediaType { Video, Audio };
enum class DeviceType { BuiltInWideAngleCamera, ExternalUnknown };
enum class DevicePosition { Unspecified = 0, Back = 1, Front = 2 };

/// Facts about one camera, as they were when it was discovered.
///
/// Owner: shared. Threads: any thread; the facts do not change. Life cycle: stays valid after the camera is unplugged.
class CaptureDevice {
public:
   virtual ~CaptureDevice() = default;
   /// Display name, UTF-8, any length, may be empty.
   [[nodiscard]] virtual std::string localizedName() const = 0;
   /// Persistent id, UTF-8: the same camera has the same id after replugging and restarting, as far as the platform
   /// can.
   [[nodiscard]] virtual std::string uniqueID() const = 0;
   /// All formats, in the platform's order, doubles included; may be empty.
   [[nodiscard]] virtual std::vector<CaptureDeviceFormat> formats() const = 0;
};

using CaptureDeviceList = std::vector<std::shared_ptr<const CaptureDevice>>;

} // namespace osal
