# Compiles on Linux for macOS: see scripts/check-macos, which sets TIDRA_ZIG and TIDRA_MAC_TARGET.
set(CMAKE_SYSTEM_NAME Darwin)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR "${TIDRA_MAC_TARGET}")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TIDRA_ZIG TIDRA_MAC_TARGET)

# Only what is checked takes time: no debug data, and none of the run-time checks that this compiler adds by itself.
set(CMAKE_CXX_COMPILER "${TIDRA_ZIG}" c++ -target ${TIDRA_MAC_TARGET} -g0 -fno-sanitize=undefined)
set(CMAKE_CXX_FLAGS_DEBUG "" CACHE STRING "")
set(CCACHE_PROGRAM "" CACHE STRING "It does not know this compiler, which has a cache of its own")

# The first link compiles a standard library, which need not be before everything else.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

# Archives are made by the same program.
set(CMAKE_AR "${TIDRA_ZIG}" CACHE FILEPATH "")
set(CMAKE_RANLIB "${TIDRA_ZIG}" CACHE FILEPATH "")
set(CMAKE_CXX_ARCHIVE_CREATE "<CMAKE_AR> ar qc <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_APPEND "<CMAKE_AR> ar q <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_FINISH "<CMAKE_RANLIB> ranlib <TARGET>")

# What is linked but not here: shared libraries, and the functions of the sources that need Apple's frameworks.
set(CMAKE_CXX_STANDARD_LIBRARIES "-L${CMAKE_CURRENT_LIST_DIR} -lelsewhere" CACHE STRING "")
