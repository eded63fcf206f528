#include "tests/kit/Faults.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <pthread.h>

namespace {

struct Trap {
   std::atomic<bool> armed{false};
   std::atomic<uint64_t> calls{0};
   std::atomic<uint64_t> nth{0};
   std::atomic<bool> fromThenOn{false};
   std::atomic<bool> struck{false};
};

constinit Trap gTraps[kit::kFaultKinds];
constinit std::atomic<uint64_t> gAllocations{0};

bool AllocationFails() {
   gAllocations.fetch_add(1, std::memory_order_relaxed);
   if (!kit::Strikes(kit::Fault::Allocation)) {
      return false;
   }
   errno = ENOMEM;
   return true;
}

} // namespace

// The linker sends the calls of every object of the program here (--wrap), and the real functions are __real_...
extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *memory, size_t size);
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *), void *argument);

void *__wrap_malloc(size_t size) {
   return AllocationFails() ? nullptr : __real_malloc(size);
}
void *__wrap_calloc(size_t count, size_t size) {
   return AllocationFails() ? nullptr : __real_calloc(count, size);
}
void *__wrap_realloc(void *memory, size_t size) {
   return AllocationFails() ? nullptr : __real_realloc(memory, size);
}
char *__wrap_strdup(const char *text) {
   const size_t size = std::strlen(text) + 1;
   auto *const copy = static_cast<char *>(__wrap_malloc(size));
   return copy != nullptr ? static_cast<char *>(std::memcpy(copy, text, size)) : nullptr;
}
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *), void *argument) {
   return kit::Strikes(kit::Fault::ThreadCreation) ? EAGAIN
                                                   : __real_pthread_create(thread, attributes, start, argument);
}
}

void *operator new(size_t size) {
   void *const memory = AllocationFails() ? nullptr : __real_malloc(size != 0 ? size : 1);
   if (memory == nullptr) {
      throw std::bad_alloc();
   }
   return memory;
}
void *operator new(size_t size, const std::nothrow_t &) noexcept {
   return AllocationFails() ? nullptr : __real_malloc(size != 0 ? size : 1);
}
void *operator new[](size_t size) {
   return operator new(size);
}
void *operator new[](size_t size, const std::nothrow_t &tag) noexcept {
   return operator new(size, tag);
}
[[gnu::noinline]] void operator delete(void *memory) noexcept {
   std::free(memory);
}
[[gnu::noinline]] void operator delete(void *memory, size_t) noexcept {
   std::free(memory);
}
[[gnu::noinline]] void operator delete[](void *memory) noexcept {
   std::free(memory);
}
[[gnu::noinline]] void operator delete[](void *memory, size_t) noexcept {
   std::free(memory);
}

namespace kit {

FailNth::FailNth(Fault fault, uint64_t nth, Repeat repeat)
    : mFault(fault) {
   Trap &trap = gTraps[static_cast<size_t>(fault)];
   trap.calls.store(0);
   trap.nth.store(nth);
   trap.fromThenOn.store(repeat == Repeat::FromThenOn);
   trap.struck.store(false);
   trap.armed.store(true);
}

FailNth::~FailNth() {
   Disarm();
}

void FailNth::Disarm() {
   gTraps[static_cast<size_t>(mFault)].armed.store(false);
}

bool FailNth::Struck() const {
   return gTraps[static_cast<size_t>(mFault)].struck.load();
}

uint64_t FailNth::Calls() const {
   return gTraps[static_cast<size_t>(mFault)].calls.load();
}

bool Strikes(Fault fault) {
   Trap &trap = gTraps[static_cast<size_t>(fault)];
   if (!trap.armed.load()) {
      return false;
   }
   const uint64_t call = trap.calls.fetch_add(1) + 1;
   const bool strikes = call == trap.nth.load() || (trap.fromThenOn.load() && call > trap.nth.load());
   if (strikes) {
      trap.struck.store(true);
   }
   return strikes;
}

uint64_t AllocationCount() {
   return gAllocations.load(std::memory_order_relaxed);
}

} // namespace kit
