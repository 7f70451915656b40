# Helpers shared by every CMakeLists.txt of the project.

# Our own code is built with every warning as an error; third-party code is not.
function(trelvis_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
endfunction()

# trelvis_library(name SOURCES ... DEPS ...): one static library of a layer.
function(trelvis_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
  trelvis_warnings(${name})
endfunction()

# trelvis_test(name SOURCES ... DEPS ... [THREADED] [RUNNER script]): one GoogleTest
# executable, registered with CTest. THREADED marks tests of multi-threaded code, which
# the ThreadSanitizer build runs. RUNNER registers one CTest test that runs `script`
# with the executable's path, for tests that need an environment set up around them.
function(trelvis_test name)
  cmake_parse_arguments(ARG "THREADED" "RUNNER" "SOURCES;DEPS" ${ARGN})
  if(TRELVIS_TESTS STREQUAL "threaded" AND NOT ARG_THREADED)
    return()
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} trelvis_test_support GTest::gtest GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  trelvis_warnings(${name})
  if(ARG_RUNNER)
    add_test(NAME ${name} COMMAND ${ARG_RUNNER} $<TARGET_FILE:${name}>)
  else()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 30)
  endif()
endfunction()
