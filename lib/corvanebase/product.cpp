#include "lib/corvanebase/corvanebase.h"

const char *ProductState_GetName(void) {
   return "MAVR client library";
}

const char *ProductState_GetVersion(void) {
   return MAVR_VERSION;
}

const char *ProductState_GetBuildNumberString(void) {
   return "build-" MAVR_BUILD_NUMBER;
}

const char *ProductState_GetCompilationOption(void) {
   return MAVR_COMPILATION_OPTION;
}
