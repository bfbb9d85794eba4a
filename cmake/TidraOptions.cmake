# Compiler settings that every room shares.

option(TIDRA_TESTS "Build the tests" ON)
option(TIDRA_BENCH "Build the benchmarks" OFF)
option(TIDRA_WERROR "Treat warnings as errors" OFF)
option(TIDRA_UNITY "Compile the sources of a room together, in less than half of the time; hides a missing include" OFF)
option(TIDRA_FRAMEWORKS "On macOS, build and link what needs Apple's frameworks" ON)
option(TIDRA_FUZZ "Build the fuzz targets; needs clang" OFF)
set(TIDRA_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. address,undefined or thread")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
# CMake does not pass the language standard to every Objective-C++ compiler.
add_compile_options($<$<COMPILE_LANGUAGE:OBJCXX>:-std=c++${CMAKE_CXX_STANDARD}>)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # ccache requires these settings to cache compilations with precompiled headers; no header uses __TIME__.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${CCACHE_PROGRAM}")
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
                    -Wimplicit-fallthrough)
if(NOT TIDRA_UNITY)
  add_compile_options(-Wshadow)  # in a unity build sources shadow each other's names
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # False positive of GCC 12 in std::string concatenation.
  add_compile_options(-Wno-restrict)
endif()
if(TIDRA_WERROR)
  add_compile_options(-Werror)
endif()

if(TIDRA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
# GCC collects garbage later: saves a tenth of the time for tests and sanitizers, and takes up to 400 MB more memory.
set(TIDRA_LATE_COLLECTION $<$<CXX_COMPILER_ID:GNU>:--param=ggc-min-heapsize=1048576>)
if(TIDRA_SANITIZE)
  # The presets set flags without NDEBUG, so that assertions are checked. -g1 and little optimisation compile several times
  # faster with equally useful reports. Leaving out checks that a crash reveals anyway (null pointers, mostly) halves the
  # time again.
  add_compile_options(-fsanitize=${TIDRA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all ${TIDRA_LATE_COLLECTION})
  if(TIDRA_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize=null,alignment,vptr,object-size)
  endif()
  add_link_options(-fsanitize=${TIDRA_SANITIZE})
else()
  # Hardening against memory errors on untrusted input, at no measurable cost.
  add_compile_options(-fstack-protector-strong)
  add_compile_definitions($<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
endif()
