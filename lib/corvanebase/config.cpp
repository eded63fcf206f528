#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include "osal/Places.h"

#include <cerrno>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <utility>
#include <vector>

#include <toml++/toml.h>

namespace {

using corvanebase::FormatHeap;
using corvanebase::HeapText;
using corvanebase::NotNull;

constexpr size_t kLargestFile = size_t{1} << 20U;

struct Configuration {
   std::mutex lock;
   std::vector<toml::table> files; // in the order in which they are asked
   std::string trouble;            // empty: none
};

// Never destroyed: the log may read it while the process ends.
Configuration &TheConfiguration() {
   static auto *const configuration = new Configuration;
   return *configuration;
}

// What a file holds, or why it cannot be used. A missing file is neither.
struct Content {
   std::string text;
   std::string trouble;
};

std::string OneLine(std::string_view text) {
   std::string line(text);
   for (char &byte : line) {
      byte = static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F ? ' ' : byte;
   }
   return line;
}

Content ReadOpenFile(FileIODescriptor *file) {
   struct stat status {};
   if (fstat(file->posix, &status) != 0) {
      return {{}, Err_ErrString()};
   }
   if (!S_ISREG(status.st_mode)) {
      return {{}, "not a plain file"};
   }
   // One byte more than allowed shows a file that is too large, even one that grows meanwhile.
   std::string text(kLargestFile + 1, '\0');
   size_t length = 0;
   const int result = FileIO_Read(file, text.data(), text.size(), &length);
   if (result != FILEIO_SUCCESS && result != FILEIO_READ_EOF) {
      return {{}, Err_ErrString()};
   }
   if (length > kLargestFile) {
      return {{}, "larger than 1 MiB"};
   }
   text.resize(length);
   return {std::move(text), {}};
}

struct Closed {
   void operator()(FileIODescriptor *file) const { FileIO_Close(file); }
};

Content ReadConfigurationFile(const std::string &path) {
   FileIODescriptor file;
   const int result = FileIO_Open(&file, path.c_str(), FILEIO_ACCESS_READ, FILEIO_OPEN);
   if (result != FILEIO_SUCCESS && errno == ENOMEM) {
      throw std::bad_alloc();
   }
   if (result != FILEIO_SUCCESS) {
      return {{}, result == FILEIO_NOT_FOUND ? "" : Err_ErrString()};
   }
   const std::unique_ptr<FileIODescriptor, Closed> closed(&file);
   return ReadOpenFile(&file);
}

// The file's table; an empty one, with `trouble` filled, when it cannot be used.
toml::table Load(const std::string &path, std::string &trouble) {
   Content content = ReadConfigurationFile(path);
   if (!content.trouble.empty()) {
      trouble = OneLine(path + ": " + content.trouble);
      return {};
   }
   try {
      return toml::parse(content.text);
   } catch (const toml::parse_error &error) {
      const auto position = error.source().begin;
      trouble = OneLine(path + ":" + std::to_string(position.line) + ":" + std::to_string(position.column) + ": " +
                        std::string(error.description()));
   } catch (const std::bad_alloc &) {
      throw;
   } catch (const std::exception &error) {
      trouble = OneLine(path + ": " + error.what());
   }
   return {};
}

const toml::node *FindDotted(const toml::table &file, std::string_view path) {
   const toml::table *table = &file;
   for (;;) {
      const size_t point = path.find('.');
      const toml::node *const node = table->get(path.substr(0, point));
      if (node == nullptr || point == std::string_view::npos) {
         return node;
      }
      table = node->as_table();
      if (table == nullptr) {
         return nullptr;
      }
      path.remove_prefix(point + 1);
   }
}

// Asks each place in turn until `accept` has taken a value.
template <class Accept>
bool Ask(HeapText formattedKey, Accept accept) {
   const HeapText key = NotNull(std::move(formattedKey));
   if (key.get()[0] == '\0') {
      return false; // it could not be formatted
   }
   Configuration &configuration = TheConfiguration();
   const std::lock_guard guard(configuration.lock);
   for (const toml::table &file : configuration.files) {
      for (const toml::node *const node : {file.get(std::string_view(key.get())), FindDotted(file, key.get())}) {
         if (node != nullptr && accept(*node)) {
            return true;
         }
      }
   }
   return false;
}

bool ReadText(const toml::node &node, std::string &value) {
   if (const auto *const text = node.as_string()) {
      value = text->get();
   } else if (const auto *const number = node.as_integer()) {
      value = std::to_string(number->get());
   } else if (const auto *const truth = node.as_boolean()) {
      value = truth->get() ? "true" : "false";
   } else {
      return false;
   }
   // A zero inside would end the text early for everyone who reads it.
   return value.find('\0') == std::string::npos;
}

bool ReadLong(const toml::node &node, int32_t &value) {
   if (const auto *const text = node.as_string()) {
      const auto number = corvanebase::LongOfText(text->get());
      value = number.value_or(0);
      return number.has_value();
   }
   const auto *const number = node.as_integer();
   if (number == nullptr || number->get() < std::numeric_limits<int32_t>::min() ||
       number->get() > std::numeric_limits<int32_t>::max()) {
      return false;
   }
   value = static_cast<int32_t>(number->get());
   return true;
}

bool ReadBool(const toml::node &node, int &value) {
   if (const auto *const text = node.as_string()) {
      const auto truth = corvanebase::BoolOfText(text->get());
      value = static_cast<int>(truth.value_or(false));
      return truth.has_value();
   }
   const auto *const truth = node.as_boolean();
   value = truth != nullptr && truth->get() ? 1 : 0;
   return truth != nullptr;
}

void LoadAll() {
   std::vector<toml::table> files;
   std::string allTrouble;
   for (const std::string &path : osal::places::configurationFiles()) {
      std::string trouble;
      files.push_back(Load(path, trouble));
      if (!trouble.empty()) {
         allTrouble += (allTrouble.empty() ? "" : "; ") + trouble;
      }
   }
   Configuration &configuration = TheConfiguration();
   const std::lock_guard guard(configuration.lock);
   configuration.files = std::move(files);
   configuration.trouble = std::move(allTrouble);
}

} // namespace

void Preference_Init(void) {
   LoadAll();
}

const char *Preference_Trouble(void) {
   Configuration &configuration = TheConfiguration();
   const std::lock_guard guard(configuration.lock);
   return configuration.trouble.empty() ? nullptr : configuration.trouble.c_str();
}

char *Config_GetString(const char *defaultValue, const char *keyFormat, ...) {
   va_list args;
   va_start(args, keyFormat);
   HeapText key = FormatHeap(nullptr, keyFormat, args);
   va_end(args);
   std::string value;
   const bool found = Ask(std::move(key), [&](const toml::node &node) { return ReadText(node, value); });
   return UtilSafeStrdup0(found ? value.c_str() : defaultValue);
}

int32_t Config_GetLong(int32_t defaultValue, const char *keyFormat, ...) {
   va_list args;
   va_start(args, keyFormat);
   HeapText key = FormatHeap(nullptr, keyFormat, args);
   va_end(args);
   int32_t value = 0;
   const bool found = Ask(std::move(key), [&](const toml::node &node) { return ReadLong(node, value); });
   return found ? value : defaultValue;
}

int Config_GetBool(int defaultValue, const char *keyFormat, ...) {
   va_list args;
   va_start(args, keyFormat);
   HeapText key = FormatHeap(nullptr, keyFormat, args);
   va_end(args);
   int value = 0;
   const bool found = Ask(std::move(key), [&](const toml::node &node) { return ReadBool(node, value); });
   return found ? value : defaultValue;
}

int Config_NotSet(const char *keyFormat, ...) {
   va_list args;
   va_start(args, keyFormat);
   HeapText key = FormatHeap(nullptr, keyFormat, args);
   va_end(args);
   const bool found = Ask(std::move(key), [](const toml::node & /*node*/) { return true; });
   return found ? 0 : 1;
}
