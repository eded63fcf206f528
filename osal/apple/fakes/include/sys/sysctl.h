// A stand-in for the header: what osal/apple uses of it, and nothing that a Mac lacks.
#pragma once

#include <cstddef>

extern "C" int sysctlbyname(const char *name, void *old, size_t *oldLength, void *set, size_t setLength);
