#pragma once

#include "mmdr/mmdr.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mavr {

/// A device as the library lists it. The texts are UTF-8 as the platform delivered it, at most 259
/// bytes; one that was cut there may end inside a character.
struct Device {
   std::string userId;
   std::string name;
};

/// The library's ten functions, as a tool wants them: texts instead of buffers, ToolError instead of return codes.
///
/// Owner: main. Threads: one. Life cycle: the constructor opens a handle, the destructor closes it. One in a process:
/// after it is closed the library keeps its settings on their defaults.
class Library {
public:
   Library();
   ~Library();
   Library(const Library &) = delete;
   Library &operator=(const Library &) = delete;

   /// MMDR_DEV_VIDEO or MMDR_DEV_AUDIO, in the library's order.
   [[nodiscard]] std::vector<Device> Devices(int32_t type);

   /// The device that the stored preference selects now, or none. The library reads a long stored text only at the
   /// second or third try, so that "none" is asked for again while devices are present.
   [[nodiscard]] std::optional<Device> Preferred(int32_t type);
   void Prefer(int32_t type, const std::string &id, const std::string &name);

   /// The stored microphone option, whatever it is.
   [[nodiscard]] uint32_t Option();
   void SetOption(uint32_t option);

   [[nodiscard]] bool Enabled();

private:
   [[nodiscard]] std::optional<Device> PreferredOnce(int32_t type);
   [[nodiscard]] std::optional<std::string> PreferredText(int32_t type, int32_t select);

   MmdrHandle *mHandle = nullptr;
};

} // namespace mavr
