#pragma once

#include <cstdint>
#include <string_view>
#include <uuid/uuid.h>

/// The Windows model's questions to the system: files, the program, the machine, the user; and random ids.
/// Any thread, all calls. A failed assertion ends the process.

/// Length in bytes of the file that is open as `descriptor`, whose position stays; -1 when it has none (a pipe, a bad
/// descriptor), errno says why.
[[nodiscard]] int64_t _filelength(int descriptor);

/// Required: the last part of the program's path with the '/' before it ("/app" for "/usr/bin/app"), not the whole
/// path. `buffer` has room for `size` characters with the terminating 0, and the name is cut to that; the result is
/// how many characters were written, without the 0. 0 for a size of 0, and, with an empty text, where the system does
/// not tell the path. `module` is ignored.
uint32_t GetModuleFileName(void *module, char *buffer, uint32_t size);

/// The machine's name. `size` says how many characters fit, with the terminating 0; false with the number that is
/// needed when that is too few, and the buffer is left alone then.
bool GetComputerNameA(char *buffer, uint32_t *size);
bool GetComputerNameW(wchar_t *buffer, uint32_t *size); ///< characters of 4 bytes

/// The name that the user logged in with, likewise; `size` is set to its length plus 1 in any case. False, and both
/// left alone, when nobody is logged in here (a service, a container).
bool GetUserNameA(char *buffer, uint32_t *size);
bool GetUserNameW(wchar_t *buffer, uint32_t *size);

/// 16 bytes, as libuuid has them.
struct UUID {
   uuid_t bytes;
};
inline constexpr int32_t RPC_S_OK = 0;
inline constexpr int32_t RPC_S_OUT_OF_MEMORY = 14;

/// A new random id. RPC_S_OK.
int32_t UuidCreate(UUID *id);
/// The id as 36 characters ("c0ffee00-...") in a block of 37 bytes that the caller frees with free. Null and
/// RPC_S_OUT_OF_MEMORY without memory.
int32_t UuidToString(const UUID *id, char **text);

namespace platforms {

/// The decisions behind the calls above, on plain values.
uint32_t ModuleFileNameOfLink(const char *link, char *buffer, uint32_t size);
bool CopyHostName(std::string_view name, char *buffer, uint32_t *size);
bool CopyHostName(std::string_view name, wchar_t *buffer, uint32_t *size);
bool CopyUserName(std::string_view name, char *buffer, uint32_t *size);
bool CopyUserName(std::string_view name, wchar_t *buffer, uint32_t *size);

} // namespace platforms
