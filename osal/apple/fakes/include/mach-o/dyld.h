// A stand-in for the header: what osal/apple uses of it, and nothing that a Mac lacks.
#pragma once

#include <cstdint>

extern "C" {

int _NSGetExecutablePath(char *path, uint32_t *size);

} // extern "C"
