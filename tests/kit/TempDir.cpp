#include "tests/kit/TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace kit {

TempDir::TempDir() {
   std::string pattern = (std::filesystem::temp_directory_path() / "mavr-test-XXXXXX").string();
   if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("cannot make " + pattern);
   }
   mPath = pattern;
}

TempDir::~TempDir() {
   std::error_code ignored;
   std::filesystem::remove_all(mPath, ignored);
}

std::string ReadFile(const std::string &path) {
   std::ifstream in(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::string &path, const std::string &content) {
   std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

} // namespace kit
