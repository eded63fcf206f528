#include "lib/mfw/common/linuxSupportSystem.h"

#include "lib/mfw/common/linuxSupportText.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <string>
#include <sys/utsname.h>
#include <unistd.h>

int64_t _filelength(int descriptor) {
   const off_t former = lseek(descriptor, 0, SEEK_CUR);
   if (former < 0) {
      return -1;
   }
   const off_t length = lseek(descriptor, 0, SEEK_END);
   lseek(descriptor, former, SEEK_SET);
   return length;
}

uint32_t GetModuleFileName(void * /*module*/, char *buffer, uint32_t size) {
   const std::string link = "/proc/" + std::to_string(getpid()) + "/exe";
   return platforms::ModuleFileNameOfLink(link.c_str(), buffer, size);
}

// ---- Names ----------------------------------------------------------------------------------------------------------

namespace {

template <typename Char>
bool HostName(Char *buffer, uint32_t *size) {
   utsname system{};
   return uname(&system) >= 0 && platforms::CopyHostName(system.nodename, buffer, size);
}

template <typename Char>
bool UserName(Char *buffer, uint32_t *size) {
   constexpr size_t kNameSize = 64;
   char name[kNameSize] = {};
   return getlogin_r(name, kNameSize) == 0 && platforms::CopyUserName(name, buffer, size);
}

template <typename Text, typename Char>
bool CopyWhole(const Text &text, Char *buffer, uint32_t room) {
   if (text.size() >= room) {
      return false;
   }
   *std::copy(text.begin(), text.end(), buffer) = 0;
   return true;
}

template <typename Text, typename Char>
bool CopyHost(const Text &name, Char *buffer, uint32_t *size) {
   const bool fits = CopyWhole(name, buffer, *size);
   if (!fits) {
      *size = static_cast<uint32_t>(name.size() + 1);
   }
   return fits;
}

template <typename Text, typename Char>
bool CopyUser(const Text &name, Char *buffer, uint32_t *size) {
   const bool fits = CopyWhole(name, buffer, *size);
   *size = static_cast<uint32_t>(name.size() + 1);
   return fits;
}

} // namespace

bool GetComputerNameA(char *buffer, uint32_t *size) {
   return HostName(buffer, size);
}
bool GetComputerNameW(wchar_t *buffer, uint32_t *size) {
   return HostName(buffer, size);
}
bool GetUserNameA(char *buffer, uint32_t *size) {
   return UserName(buffer, size);
}
bool GetUserNameW(wchar_t *buffer, uint32_t *size) {
   return UserName(buffer, size);
}

// ---- Ids ------------------------------------------------------------------------------------------------------------

int32_t UuidCreate(UUID *id) {
   uuid_generate_random(id->bytes);
   return RPC_S_OK;
}

int32_t UuidToString(const UUID *id, char **text) {
   constexpr size_t kTextSize = 37;
   *text = static_cast<char *>(std::malloc(kTextSize));
   if (*text == nullptr) {
      return RPC_S_OUT_OF_MEMORY;
   }
   uuid_unparse(id->bytes, *text);
   return RPC_S_OK;
}

// ---- Decisions ------------------------------------------------------------------------------------------------------

namespace platforms {

uint32_t ModuleFileNameOfLink(const char *link, char *buffer, uint32_t size) {
   if (size == 0) {
      return 0;
   }
   constexpr size_t kPathSize = 1024;
   char path[kPathSize];
   const ssize_t length = readlink(link, path, kPathSize);
   if (length < 0) {
      buffer[0] = 0;
      return 0;
   }
   const std::string_view whole(path, static_cast<size_t>(length));
   const size_t t = whole.rfind('/');
   assert(t != std::string::npos);
   const std::string_view name = whole.substr(t, size - 1);
   *std::copy(name.begin(), name.end(), buffer) = 0;
   return static_cast<uint32_t>(name.size());
}

bool CopyHostName(std::string_view name, char *buffer, uint32_t *size) {
   return CopyHost(name, buffer, size);
}
bool CopyHostName(std::string_view name, wchar_t *buffer, uint32_t *size) {
   return CopyHost(WideFromNarrow(name), buffer, size);
}
bool CopyUserName(std::string_view name, char *buffer, uint32_t *size) {
   return CopyUser(name, buffer, size);
}
bool CopyUserName(std::string_view name, wchar_t *buffer, uint32_t *size) {
   return CopyUser(WideFromNarrow(name), buffer, size);
}

} // namespace platforms
