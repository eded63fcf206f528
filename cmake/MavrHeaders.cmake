# Most of what a compiler does with a source of this tree is to read headers of others: it reads them once for many.
#   mavr_read_once(TARGET [HEADER...])   the library TARGET shares the standard library's precompiled headers; a target that
#                                        names more has its own, of these and those
# Tests share gtest's (MavrTests.cmake). The product has them with clang only: what is delivered is g++'s, whose precompiled
# headers are other bytes each time. Its build, and clang-tidy, see to it that each source includes what it needs.

file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/headers.cpp" CONTENT "// Nothing but headers.\n")

function(mavr_precompile target)
  list(TRANSFORM ARGN REPLACE ".+" "$<$<COMPILE_LANGUAGE:CXX>:<\\0$<ANGLE-R>>" OUTPUT_VARIABLE headers)
  target_precompile_headers(${target} PRIVATE ${headers})
  # Without the time of making, ccache knows it again.
  target_compile_options(${target} PRIVATE "$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>")
endfunction()

# A target whose headers others reuse.
function(mavr_headers name)
  cmake_parse_arguments(arg "" "" "OPTIONS;LIBRARIES;HEADERS" ${ARGN})
  add_library(${name} OBJECT "${PROJECT_BINARY_DIR}/headers.cpp")
  target_link_libraries(${name} PRIVATE mavr_build ${arg_LIBRARIES})
  target_compile_options(${name} PRIVATE ${arg_OPTIONS})
  mavr_precompile(${name} ${arg_HEADERS})
endfunction()

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  set(mavr_standard algorithm array atomic chrono cstdint cstring functional map memory mutex optional string string_view
    thread utility vector)
  mavr_headers(mavr_standard_headers HEADERS ${mavr_standard})
endif()

function(mavr_read_once target)
  if(NOT TARGET mavr_standard_headers)
    return()
  endif()
  if(ARGN)
    mavr_precompile(${target} ${mavr_standard} ${ARGN})
  else()
    target_precompile_headers(${target} REUSE_FROM mavr_standard_headers)
  endif()
endfunction()
