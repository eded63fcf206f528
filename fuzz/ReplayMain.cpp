// The main function of a fuzzer in a build without libFuzzer: feeds it the files named as arguments, and the files of
// folders named as arguments, each once. Arguments that begin with "-" are libFuzzer's and are passed over. Fails when
// there was nothing to feed, so that a lost corpus does not pass for a good one.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

std::vector<std::string> FilesOf(int count, char **arguments) {
   std::vector<std::string> files;
   for (int i = 1; i < count; ++i) {
      const std::string argument = arguments[i];
      if (argument.rfind('-', 0) == 0) {
         continue;
      }
      if (std::filesystem::is_directory(argument)) {
         for (const auto &entry : std::filesystem::recursive_directory_iterator(argument)) {
            if (entry.is_regular_file()) {
               files.push_back(entry.path().string());
            }
         }
      } else {
         files.push_back(argument);
      }
   }
   std::sort(files.begin(), files.end());
   return files;
}

} // namespace

int main(int argc, char **argv) {
   const std::vector<std::string> files = FilesOf(argc, argv);
   for (const std::string &file : files) {
      std::ifstream in(file, std::ios::binary);
      if (!in) {
         std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
         return 1;
      }
      const std::string content{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(content.data()), content.size());
   }
   std::printf("%zu inputs\n", files.size());
   return files.empty() ? 1 : 0;
}
