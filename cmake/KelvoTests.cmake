find_package(GTest REQUIRED)
include(GoogleTest)

# What the tests' compiler reads again and again, read once.
add_executable(kelvo_test_headers "${CMAKE_CURRENT_LIST_DIR}/headers.cpp")
target_link_libraries(kelvo_test_headers PRIVATE kelvo_compiler kelvo_platform GTest::gmock
  GTest::gtest)
target_precompile_headers(kelvo_test_headers PRIVATE
  <gmock/gmock.h> <gtest/gtest.h> <algorithm> <array> <cmath> <cstdint> <filesystem> <fstream>
  <functional> <memory> <string> <vector>)
target_compile_options(kelvo_test_headers PRIVATE $<$<CONFIG:Release>:-O1>)
if(KELVO_WINDOW)
  add_executable(kelvo_widget_test_headers "${CMAKE_CURRENT_LIST_DIR}/headers.cpp")
  target_link_libraries(kelvo_widget_test_headers PRIVATE kelvo_compiler kelvo_platform GTest::gmock
    GTest::gtest Qt6::Widgets)
  target_precompile_headers(kelvo_widget_test_headers PRIVATE
    <gmock/gmock.h> <gtest/gtest.h> <QtWidgets> <algorithm> <array> <cmath> <cstdint>
    <filesystem> <fstream> <functional> <memory> <string> <vector>)
  target_compile_options(kelvo_widget_test_headers PRIVATE $<$<CONFIG:Release>:-O1>)
endif()

# kelvo_add_test(NAME SOURCES files... [LIBRARIES targets...] [ENVIRONMENT variables...])
# One test program, which may open files of any format; every GoogleTest case in it becomes a test of
# its own in ctest. Variables are given as NAME=VALUE.
function(kelvo_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES;ENVIRONMENT")
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE kelvo_compiler kelvo_platform ${arg_LIBRARIES}
    GTest::gmock GTest::gtest_main)
  add_dependencies(${name} kelvo_codec_modules)
  # What is optimised is what is tested, not the tests: a third less time to compile them.
  target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O1>)
  # At -O1, g++ 12 sees overflows and mismatches in inlined code that are not there.
  foreach(misled array-bounds stringop-overflow stringop-overread mismatched-new-delete
      maybe-uninitialized free-nonheap-object)
    target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-${misled}>)
  endforeach()
  if("Qt6::Test" IN_LIST arg_LIBRARIES)
    target_precompile_headers(${name} REUSE_FROM kelvo_widget_test_headers)
  else()
    target_precompile_headers(${name} REUSE_FROM kelvo_test_headers)
  endif()
  target_compile_definitions(${name} PRIVATE
    KELVO_SOURCE_DIR="${PROJECT_SOURCE_DIR}" KELVO_BINARY_DIR="${PROJECT_BINARY_DIR}")
  set(properties TIMEOUT 300)
  if(arg_ENVIRONMENT)
    list(APPEND properties ENVIRONMENT "${arg_ENVIRONMENT}")
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES ${properties})
endfunction()
