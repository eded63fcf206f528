#include "lib/log/LogFileSystem.h"

#include "osal/Places.h"

constinit LogFileSystem gLogFileSystem{
   .fstat = &::fstat,
   .lstat = &::lstat,
   .truncate = &FileIO_Truncate,
   .sync = &FileIO_Sync,
   .createRing = &LogRing_Create,
   .userLibraryFolder = &osal::places::userLibraryFolder,
};
