// Any bytes as a configuration file: keys that can be read, or one line that says what is wrong and no key at all.

#include "lib/corvanebase/corvanebase.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

constexpr const char *kKeys[] = {"log.fileLevel",
                                 "log.keepOld",
                                 "log.append",
                                 "MAVR.log.keepOld",
                                 "log",
                                 "a",
                                 "a.b",
                                 "a.b.c",
                                 "log..keepOld",
                                 "",
                                 "."};

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

// A configuration folder of this process's own, removed at its end.
class Folder {
public:
   Folder()
       : mPath(std::filesystem::temp_directory_path() / ("fuzz-configuration-" + std::to_string(getpid()))) {
      std::filesystem::create_directories(mPath / "corvane");
      setenv("XDG_CONFIG_HOME", mPath.c_str(), 1);
   }
   ~Folder() { std::filesystem::remove_all(mPath); }
   Folder(const Folder &) = delete;
   Folder &operator=(const Folder &) = delete;

   std::string File() const { return mPath / "corvane" / "config.toml"; }

private:
   std::filesystem::path mPath;
};

// The machine's own file, where there is one, has keys of its own.
bool OnlyOurFile() {
   return !std::filesystem::exists("/etc/xdg/corvane/config.toml");
}

void CheckTrouble(std::string_view trouble, const std::string &file) {
   Require(trouble.substr(0, file.size() + 1) == file + ":");
   Require(trouble.size() > file.size() + 2);
   for (const char byte : trouble) {
      Require(static_cast<unsigned char>(byte) >= 0x20);
   }
}

// What is found has a type that fits; what is not found gives the default.
void CheckKey(const char *key, bool damaged) {
   char *const text = Config_GetString(nullptr, "%s", key);
   const bool notSet = Config_NotSet("%s", key) != 0;
   Require(text == nullptr || !notSet);
   Require(!damaged || notSet);
   const int32_t number = Config_GetLong(-7, "%s", key);
   Require(number == -7 || text != nullptr);
   const int truth = Config_GetBool(-7, "%s", key);
   Require(truth == -7 || ((truth == 0 || truth == 1) && text != nullptr));
   std::free(text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   static const Folder folder;
   static const std::string file = folder.File();
   static const bool onlyOurFile = OnlyOurFile();
   {
      std::ofstream out(file, std::ios::binary | std::ios::trunc);
      out.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
   }
   Preference_Init();
   const char *const trouble = Preference_Trouble();
   if (trouble != nullptr && onlyOurFile) {
      CheckTrouble(trouble, file);
   }
   for (const char *const key : kKeys) {
      CheckKey(key, trouble != nullptr && onlyOurFile);
   }
   return 0;
}
