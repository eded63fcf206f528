// Prints digests of pictures, sound and log lines that every build must make alike, whatever its compiler and its
// optimisation. expected.txt has the output; script/same-output compares builds.

#include "tests/same_output/Report.h"

#include <cstdlib>

void same::Fail(const char *what) {
   std::fprintf(stderr, "same_output: %s\n", what);
   std::exit(1);
}

int main() {
   same::PrintPictures();
   same::PrintSounds();
   same::PrintLogLines();
   return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
