# Everything foreign, found once. Foreign headers are system headers: our warnings are for our code.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(nlohmann_json REQUIRED)

# The settings file of our own: where the platform keeps no settings, and for its tests.
set(MAVR_SETTINGS_FILE OFF)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux" OR BUILD_TESTING)
  set(MAVR_SETTINGS_FILE ON)
endif()

# libyuv comes with neither a pkg-config file nor a CMake package.
find_path(LIBYUV_INCLUDE_DIR libyuv.h REQUIRED)
find_library(LIBYUV_LIBRARY yuv REQUIRED)
add_library(libyuv::libyuv UNKNOWN IMPORTED)
set_target_properties(libyuv::libyuv PROPERTIES
  IMPORTED_LOCATION "${LIBYUV_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${LIBYUV_INCLUDE_DIR}")

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  pkg_check_modules(PIPEWIRE REQUIRED IMPORTED_TARGET libpipewire-0.3)
  # In place of the -D_REENTRANT that it asks for, which says nothing to a C library of today, but with which g++ takes no
  # precompiled header that was made without. Its method macros are GNU statement expressions, which clang counts as ours
  # where they are used.
  set_target_properties(PkgConfig::PIPEWIRE PROPERTIES INTERFACE_COMPILE_OPTIONS
    $<$<COMPILE_LANG_AND_ID:CXX,Clang,AppleClang>:-Wno-gnu-statement-expression>)
  pkg_check_modules(UUID REQUIRED IMPORTED_TARGET uuid)
  pkg_check_modules(CRYPTO REQUIRED IMPORTED_TARGET libcrypto)
endif()
if(MAVR_SETTINGS_FILE)
  pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
endif()
pkg_check_modules(TOMLPLUSPLUS REQUIRED IMPORTED_TARGET tomlplusplus)
find_package(CLI11 REQUIRED)
find_package(PNG REQUIRED)

if(BUILD_TESTING)
  find_package(GTest REQUIRED)
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    pkg_check_modules(JPEG REQUIRED IMPORTED_TARGET libjpeg) # of the virtual cameras
  endif()
  include(GoogleTest)
endif()
if(MAVR_BENCH)
  find_package(benchmark REQUIRED)
endif()
