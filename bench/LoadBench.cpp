// Time to load the library into a fresh process, beside the time for the libraries that it needs alone.
#include "bench/Harness.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// Loads `libraries` in a child and returns how long that took, in microseconds.
double LoadUs(const std::vector<std::string> &libraries) {
   int ends[2];
   if (pipe(ends) != 0) {
      std::abort();
   }
   const pid_t child = fork();
   if (child == 0) {
      const auto start = std::chrono::steady_clock::now();
      for (const std::string &library : libraries) {
         if (dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr) {
            std::fprintf(stderr, "%s\n", dlerror());
            _exit(1);
         }
      }
      const double us = std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
      _exit(write(ends[1], &us, sizeof us) == sizeof us ? 0 : 1);
   }
   close(ends[1]);
   double us = 0;
   int status = 0;
   const bool told = read(ends[0], &us, sizeof us) == sizeof us;
   close(ends[0]);
   if (waitpid(child, &status, 0) != child || status != 0 || !told) {
      std::abort();
   }
   return us;
}

// What the library names as needed, in its order.
std::vector<std::string> Needed(const std::string &library) {
   std::vector<std::string> names;
   const std::string command = "readelf -d '" + library + "' | sed -n 's/.*(NEEDED).*\\[\\(.*\\)\\].*/\\1/p'";
   FILE *const out = popen(command.c_str(), "r");
   char line[256];
   while (out != nullptr && std::fgets(line, sizeof line, out) != nullptr) {
      std::string name(line);
      name.pop_back();
      names.push_back(name);
   }
   if (out != nullptr) {
      pclose(out);
   }
   return names;
}

} // namespace

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
   const std::string library = MAVR_LIBRARY;
   const std::vector<std::string> needed = Needed(library);
   report.Run({.name = "library.load",
               .unit = "us",
               .ours = [=] { return LoadUs({library}); },
               .limit = bench::Case{"its dependencies alone", [=] {
                                       return LoadUs(needed);
                                    }}});
   return report.Finish();
}
