# Objective-C++. On a Mac it is the system's. Elsewhere clang and GNUstep's base library bring the language, and the
# stand-ins of osal/apple/fakes bring the frameworks, so that the Mac's backend runs in the tests of every system;
# nothing that is installed uses them there.
#   MAVR_APPLE_BACKEND   whether osal/apple can be built here
#   MAVR_NO_APPLE        why not
set(MAVR_APPLE_BACKEND OFF)
if(CMAKE_SYSTEM_NAME STREQUAL "Darwin")
  if(NOT CMAKE_OBJCXX_COMPILER)
    set(CMAKE_OBJCXX_COMPILER "${CMAKE_CXX_COMPILER}")
  endif()
  enable_language(OBJCXX)
  set(MAVR_APPLE_BACKEND ON)
elseif(BUILD_TESTING)
  find_program(MAVR_OBJCXX_COMPILER NAMES clang++ clang++-14)
  find_path(MAVR_GNUSTEP_INCLUDE_DIR Foundation/Foundation.h PATHS /usr/include/GNUstep NO_DEFAULT_PATH)
  find_library(MAVR_GNUSTEP_BASE gnustep-base)
  # The compiler's own folder has libobjc and its headers.
  execute_process(COMMAND gcc -print-libgcc-file-name OUTPUT_VARIABLE mavr_libgcc OUTPUT_STRIP_TRAILING_WHITESPACE
                  ERROR_QUIET)
  cmake_path(GET mavr_libgcc PARENT_PATH mavr_gcc_folder)
  if(NOT MAVR_OBJCXX_COMPILER)
    set(MAVR_NO_APPLE "there is no clang++ (package clang)")
  elseif(NOT MAVR_GNUSTEP_INCLUDE_DIR OR NOT MAVR_GNUSTEP_BASE)
    set(MAVR_NO_APPLE "there is no GNUstep base library (package libgnustep-base-dev)")
  elseif(NOT EXISTS "${mavr_gcc_folder}/libobjc.so" OR NOT EXISTS "${mavr_gcc_folder}/include/objc/objc.h")
    set(MAVR_NO_APPLE "there is no Objective-C runtime of gcc (package libobjc-12-dev)")
  else()
    set(MAVR_APPLE_BACKEND ON)
    set(CMAKE_OBJCXX_COMPILER "${MAVR_OBJCXX_COMPILER}")
    # What CMake notes of precompiled headers, for all languages at once, has to stay what the compiler of C++ makes.
    set(mavr_pch_extension "${CMAKE_PCH_EXTENSION}")
    set(mavr_pch_prologue "${CMAKE_PCH_PROLOGUE}")
    enable_language(OBJCXX)
    set(CMAKE_PCH_EXTENSION "${mavr_pch_extension}")
    set(CMAKE_PCH_PROLOGUE "${mavr_pch_prologue}")

    add_library(mavr_objcxx INTERFACE)
    target_compile_definitions(mavr_objcxx INTERFACE
      $<$<COMPILE_LANGUAGE:OBJCXX>:GNUSTEP GNUSTEP_BASE_LIBRARY=1 GNU_RUNTIME=1 _NATIVE_OBJC_EXCEPTIONS>)
    target_compile_options(mavr_objcxx INTERFACE
      "$<$<COMPILE_LANGUAGE:OBJCXX>:SHELL:-fobjc-runtime=gcc -fexceptions -fobjc-exceptions \
-fconstant-string-class=NSConstantString -isystem ${MAVR_GNUSTEP_INCLUDE_DIR} -idirafter ${mavr_gcc_folder}/include>")
    target_link_libraries(mavr_objcxx INTERFACE "${MAVR_GNUSTEP_BASE}" "${mavr_gcc_folder}/libobjc.so")
  endif()
endif()
if(MAVR_APPLE_BACKEND)
  set(CMAKE_OBJCXX_STANDARD 20)
  set(CMAKE_OBJCXX_EXTENSIONS OFF)
  set(CMAKE_OBJCXX_FLAGS_RELWITHDEBINFO "${CMAKE_CXX_FLAGS_RELWITHDEBINFO}")
  set(CMAKE_OBJCXX_FLAGS_DEBUG "${CMAKE_CXX_FLAGS_DEBUG}")
  set(CMAKE_OBJCXX_VISIBILITY_PRESET hidden)
  if(MAVR_CCACHE)
    set(CMAKE_OBJCXX_COMPILER_LAUNCHER "${CMAKE_CXX_COMPILER_LAUNCHER}")
  endif()
elseif(MAVR_NO_APPLE)
  message(STATUS "The tests with the label apple are skipped: ${MAVR_NO_APPLE}")
endif()

# A test program of the Mac's backend on the stand-ins, with the label apple. Nothing where they can't be built.
function(mavr_apple_test)
  if(NOT TARGET mavr_apple_kit)
    return()
  endif()
  cmake_parse_arguments(arg "" "NAME" "SOURCES;LIBRARIES" ${ARGN})
  mavr_test(NAME ${arg_NAME} LABEL apple SOURCES ${arg_SOURCES} LIBRARIES ${arg_LIBRARIES} mavr_apple_kit
            FAIL_ON "autorelease called without pool")
endfunction()
