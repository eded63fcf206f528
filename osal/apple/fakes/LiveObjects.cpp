#include "osal/apple/fakes/LiveObjects.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace fakes {
namespace {

std::atomic<size_t> gLive{0};

} // namespace

size_t LiveObjects() {
   return gLive.load();
}

Counted::Counted() {
   ++gLive;
}
Counted::~Counted() {
   --gLive;
}

void Refuse(const char *what) {
   std::fprintf(stderr, "a framework would crash here: %s\n", what);
   std::abort();
}

} // namespace fakes
