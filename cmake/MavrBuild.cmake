# Compiler settings that every target shares, and the verb that the product's folders use in their CMakeLists.txt:
#   mavr_sources(file...)                        adds sources to mavr_core, the library that holds the product's code

option(MAVR_BENCH "Build the benchmarks and their peers" OFF)
option(MAVR_FUZZ "Build the fuzzers with libFuzzer (clang)" OFF)
option(MAVR_COVERAGE "Count each branch that runs (clang)" OFF)
option(MAVR_WERROR "Treat warnings as errors" ON)
set(MAVR_SANITIZE "" CACHE STRING "Value of -fsanitize=, e.g. address,undefined or thread")

# Assertions stay on in every build: a failed one is a programming fault that must not pass silently.
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g")

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

find_program(MAVR_CCACHE ccache)
if(MAVR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # What is not kept yet is compiled at once, not preprocessed before. With a precompiled header nothing would be kept
  # without a word on what such a header may depend on.
  set(CMAKE_C_COMPILER_LAUNCHER
      "${CMAKE_COMMAND}" -E env CCACHE_DEPEND=1 CCACHE_SLOPPINESS=pch_defines,time_macros "${MAVR_CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_C_COMPILER_LAUNCHER}")
endif()

# The sanitizers bring checks of their own; a debug build, or a test, which is not optimised as the product is, has
# nothing for these to work on.
if(MAVR_SANITIZE)
  set(MAVR_FORTIFY "")
else()
  set(mavr_hardened $<NOT:$<OR:$<CONFIG:Debug>,$<BOOL:$<TARGET_PROPERTY:MAVR_NOT_HARDENED>>>>)
  set(MAVR_FORTIFY $<${mavr_hardened}:-U_FORTIFY_SOURCE> $<${mavr_hardened}:-D_FORTIFY_SOURCE=2>)
endif()

add_library(mavr_build INTERFACE)
target_compile_features(mavr_build INTERFACE cxx_std_20 c_std_99)
set_property(DIRECTORY PROPERTY CXX_EXTENSIONS OFF)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_EXTENSIONS OFF)
target_include_directories(mavr_build INTERFACE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/include")
target_compile_definitions(mavr_build INTERFACE
  MAVR_VERSION="${PROJECT_VERSION}" $<$<PLATFORM_ID:Linux>:_FILE_OFFSET_BITS=64>)
target_compile_options(mavr_build INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<COMPILE_LANG_AND_ID:CXX,Clang,AppleClang>:-Wthread-safety>
  $<$<BOOL:${MAVR_WERROR}>:-Werror>
  # Source paths in the binary do not depend on where it was built.
  "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/="
  -fstack-protector-strong
  ${MAVR_FORTIFY})
# Nor do those of a build folder elsewhere.
cmake_path(IS_PREFIX PROJECT_SOURCE_DIR "${PROJECT_BINARY_DIR}" NORMALIZE mavr_built_inside)
if(NOT mavr_built_inside)
  target_compile_options(mavr_build INTERFACE "-ffile-prefix-map=${PROJECT_BINARY_DIR}=build")
endif()
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  target_compile_options(mavr_build INTERFACE $<$<CXX_COMPILER_ID:GNU,Clang>:-fcf-protection>)
else()
  # Processors that join a product and a sum into one rounding would compute other numbers, as the compiler pleases.
  target_compile_options(mavr_build INTERFACE -ffp-contract=off)
endif()
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  # The build id is the digest of the content.
  target_link_options(mavr_build INTERFACE
    -Wl,-z,relro,-z,now,-z,noexecstack -Wl,--as-needed -Wl,--build-id=sha1)
  # Archives carry no time, owner or mode of their members.
  foreach(language C CXX)
    set(CMAKE_${language}_ARCHIVE_CREATE "<CMAKE_AR> qcD <TARGET> <LINK_FLAGS> <OBJECTS>")
    set(CMAKE_${language}_ARCHIVE_APPEND "<CMAKE_AR> qD <TARGET> <LINK_FLAGS> <OBJECTS>")
    set(CMAKE_${language}_ARCHIVE_FINISH "<CMAKE_RANLIB> -D <TARGET>")
  endforeach()
endif()
if(MAVR_SANITIZE)
  target_compile_options(mavr_build INTERFACE -fsanitize=${MAVR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(mavr_build INTERFACE -fsanitize=${MAVR_SANITIZE})
  target_compile_definitions(mavr_build INTERFACE MAVR_SANITIZED=1 MAVR_SIDE_CHECKS=1)
  if(MAVR_SANITIZE STREQUAL "thread")
    target_compile_definitions(mavr_build INTERFACE MAVR_THREAD_SANITIZED=1)
  endif()
endif()
if(NOT MAVR_SANITIZE AND NOT MAVR_COVERAGE) # they are no branches of the product
  target_compile_definitions(mavr_build INTERFACE $<$<CONFIG:Debug>:MAVR_SIDE_CHECKS=1>)
endif()
if(MAVR_COVERAGE)
  # The counters lie in mapped files, one for each program, and are exact under threads: a process that is killed, aborts
  # or starts with an empty environment has counted all the same.
  target_compile_options(mavr_build INTERFACE
    "-fprofile-instr-generate=${PROJECT_BINARY_DIR}/counts/%m%c.profraw" -fcoverage-mapping -fprofile-update=atomic
    "SHELL:-mllvm -runtime-counter-relocation")
  target_link_options(mavr_build INTERFACE -fprofile-instr-generate)
endif()

function(mavr_sources)
  target_sources(mavr_core PRIVATE ${ARGN})
endfunction()
