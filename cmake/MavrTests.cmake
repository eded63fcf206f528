# The two verbs for tests that the folders' CMakeLists.txt use:
#   mavr_test(NAME n SOURCES ... [LIBRARIES ...] [OPTIONS ...] [LABEL unit] [TIMEOUT s] [FAIL_ON regex] [ALONE]
#             [SINGLE_THREADED] [OPTIMISED])
#      One test program and its tests. OPTIONS: for the compiler, behind all others. FAIL_ON: output that fits the
#      expression fails a test. ALONE: no other test beside them, for what has to keep real time. SINGLE_THREADED: a
#      thread in it ends it, and the thread sanitizer, which has nothing to look for, goes without it. OPTIMISED: as the
#      product is, for a test that works out much itself.
#   mavr_fuzzer(NAME n SOURCES ... [CORPUS dir])
#      One fuzzer; where libFuzzer is not on it replays its corpus as a test.

set(MAVR_TEST_FLAGS "" CACHE STRING "Compiler options behind the others, for the tests' own sources")
find_program(MAVR_LLD ld.lld) # links the many test programs in a quarter of the time

if(BUILD_TESTING AND CMAKE_CXX_COMPILER_ID MATCHES "^(Clang|GNU)$")
  mavr_headers(mavr_gtest_header OPTIONS -fPIE ${MAVR_TEST_FLAGS} LIBRARIES GTest::gtest HEADERS gtest/gtest.h)
  set_target_properties(mavr_gtest_header PROPERTIES POSITION_INDEPENDENT_CODE OFF MAVR_NOT_HARDENED ON) # for programs
endif()

function(mavr_test)
  cmake_parse_arguments(arg "ALONE;SINGLE_THREADED;OPTIMISED" "NAME;LABEL;TIMEOUT;FAIL_ON" "SOURCES;LIBRARIES;OPTIONS;ENVIRONMENT" ${ARGN})
  if(NOT BUILD_TESTING OR (arg_SINGLE_THREADED AND MAVR_SANITIZE STREQUAL "thread"))
    return()
  endif()
  if(arg_SINGLE_THREADED AND NOT MAVR_SANITIZE) # the sanitizers have a pthread_create of their own
    list(APPEND arg_SOURCES "${PROJECT_SOURCE_DIR}/tests/kit/NoThread.cpp")
  endif()
  if(NOT arg_LABEL)
    set(arg_LABEL unit)
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300) # a hang, not slowness: sanitizers on a busy machine take their time
  endif()
  if(MAVR_COVERAGE) # counting each branch of a tight loop takes its time
    math(EXPR arg_TIMEOUT "${arg_TIMEOUT} * 5")
  endif()
  add_executable(${arg_NAME} ${arg_SOURCES})
  target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBRARIES} mavr_test_kit GTest::gmock GTest::gtest_main)
  if(MAVR_LLD)
    target_link_options(${arg_NAME} PRIVATE -fuse-ld=lld)
  endif()
  # The header was read for C++ and as the tests' options have it.
  if(TARGET mavr_gtest_header AND NOT arg_OPTIMISED AND NOT arg_OPTIONS AND NOT arg_SOURCES MATCHES "[.]c(;|$)")
    target_precompile_headers(${arg_NAME} REUSE_FROM mavr_gtest_header)
  endif()
  if(NOT arg_OPTIMISED)
    target_compile_options(${arg_NAME} PRIVATE ${MAVR_TEST_FLAGS})
    set_target_properties(${arg_NAME} PROPERTIES MAVR_NOT_HARDENED ON)
  endif()
  target_compile_options(${arg_NAME} PRIVATE ${arg_OPTIONS})
  set_target_properties(${arg_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  set(environment "MAVR_TEST_DATA=${CMAKE_CURRENT_SOURCE_DIR}" ${arg_ENVIRONMENT})
  set(fail_on "")
  if(arg_FAIL_ON)
    set(fail_on FAIL_REGULAR_EXPRESSION "${arg_FAIL_ON}")
  endif()
  # Each test runs as a process of its own: the library under test has process-wide state.
  gtest_discover_tests(${arg_NAME} TEST_PREFIX "${arg_NAME}." DISCOVERY_TIMEOUT 60 DISCOVERY_MODE PRE_TEST
    PROPERTIES LABELS "${arg_LABEL}" TIMEOUT ${arg_TIMEOUT} RUN_SERIAL ${arg_ALONE} ENVIRONMENT "${environment}" ${fail_on})
endfunction()

function(mavr_fuzzer)
  cmake_parse_arguments(arg "" "NAME;CORPUS" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${arg_NAME} ${arg_SOURCES})
  target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBRARIES} mavr_build)
  if(MAVR_FUZZ)
    target_link_options(${arg_NAME} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(${arg_NAME} PRIVATE "${PROJECT_SOURCE_DIR}/fuzz/ReplayMain.cpp")
  endif()
  if(BUILD_TESTING)
    add_test(NAME ${arg_NAME}.corpus COMMAND ${arg_NAME} -runs=0 "${arg_CORPUS}")
    set_tests_properties(${arg_NAME}.corpus PROPERTIES LABELS fuzz TIMEOUT 300)
  endif()
endfunction()
