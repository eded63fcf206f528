#include <pthread.h>

#include <cstdio>
#include <cstdlib>

// Part of each test program that calls itself single-threaded: a thread there would never be looked at by the thread
// sanitizer. The libraries of the process, too, find this function before the system's.

extern "C" [[gnu::visibility("default")]] int pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *),
                                                             void *) {
   std::fputs("A test program that is marked SINGLE_THREADED makes a thread.\n", stderr);
   std::abort();
}
