# Cross-compiles for macOS on Linux. scripts/check-macos sets TIDRA_ZIG and TIDRA_MAC_TARGET.
set(CMAKE_SYSTEM_NAME Darwin)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR "${TIDRA_MAC_TARGET}")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TIDRA_ZIG TIDRA_MAC_TARGET)

# Compile time only: no debug data, and none of the run-time checks that zig enables by default.
set(CMAKE_CXX_COMPILER "${TIDRA_ZIG}" c++ -target ${TIDRA_MAC_TARGET} -g0 -fno-sanitize=undefined)
set(CMAKE_CXX_FLAGS_DEBUG "" CACHE STRING "")
set(CCACHE_PROGRAM "" CACHE STRING "It does not know this compiler, which has a cache of its own")

# Skips CMake's link test: the first link compiles the standard library, which would delay everything else.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

# zig also creates the archives.
set(CMAKE_AR "${TIDRA_ZIG}" CACHE FILEPATH "")
set(CMAKE_RANLIB "${TIDRA_ZIG}" CACHE FILEPATH "")
set(CMAKE_CXX_ARCHIVE_CREATE "<CMAKE_AR> ar qc <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_APPEND "<CMAKE_AR> ar q <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_FINISH "<CMAKE_RANLIB> ranlib <TARGET>")

# Missing at link time: shared libraries, and the functions of sources that need Apple's frameworks.
set(CMAKE_CXX_STANDARD_LIBRARIES "-L${CMAKE_CURRENT_LIST_DIR} -lelsewhere" CACHE STRING "")
