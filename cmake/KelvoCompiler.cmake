# How everything is compiled. One interface target, linked by every target of ours.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

find_program(KELVO_CCACHE ccache)
if(KELVO_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Without these, nothing that uses a precompiled header could come from the cache.
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env
    "CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime"
    "${KELVO_CCACHE}")
endif()

add_library(kelvo_compiler INTERFACE)
target_include_directories(kelvo_compiler INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(kelvo_compiler INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
  # g++ 12 sees overlaps in operator+ of strings that are not there.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  # Every operation is rounded by itself, so that results are the same on every processor.
  -ffp-contract=off
  # clang counts these among -Wconversion, g++ does not.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)
# In a precompiled header, g++ 12 forgets which warnings the standard library has switched off for its
# own strings: it sees overflows that are not there.
if(NOT CMAKE_DISABLE_PRECOMPILE_HEADERS)
  target_compile_options(kelvo_compiler INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds>
    $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow>)
endif()
# Instrumentation makes g++ 12 see overflows that are not there.
if(KELVO_WERROR AND NOT KELVO_SANITIZE)
  target_compile_options(kelvo_compiler INTERFACE -Werror)
endif()
if(KELVO_SANITIZE)
  # vptr checks need typeinfo from a module that is loaded at run time.
  target_compile_options(kelvo_compiler INTERFACE
    -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  target_link_options(kelvo_compiler INTERFACE -fsanitize=address,undefined)
  # Instrumented vector code takes minutes to compile; a few widths of the same code are enough.
  target_compile_definitions(kelvo_compiler INTERFACE
    "HWY_DISABLED_TARGETS=(HWY_SSSE3|HWY_AVX3|HWY_AVX3_DL$<$<BOOL:${KELVO_FUZZ}>:|HWY_AVX2>)")
endif()
# What these builds tell is written by what runs at the end of a process.
if(KELVO_SANITIZE OR KELVO_COVERAGE)
  target_compile_definitions(kelvo_compiler INTERFACE KELVO_TELLS_AT_EXIT)
endif()
if(KELVO_COVERAGE)
  target_compile_options(kelvo_compiler INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(kelvo_compiler INTERFACE --coverage)
endif()
if(KELVO_FUZZ)
  target_compile_options(kelvo_compiler INTERFACE -fsanitize=fuzzer-no-link)
endif()
