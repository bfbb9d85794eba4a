# A room is a folder with one static library. KNOWS lists the rooms it may use: a dependency in the wrong direction fails to
# link, and scripts/check-rooms refuses its includes.
#
#   tidra_room(core_scan SOURCES a.cpp b.cpp KNOWS core_rules core_platform USES fmt::fmt)
function(tidra_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;KNOWS;USES" ${ARGN})
  add_library(tidra_${name} STATIC ${ROOM_SOURCES})
  target_include_directories(tidra_${name} PUBLIC "${PROJECT_SOURCE_DIR}")
  foreach(known IN LISTS ROOM_KNOWS)
    target_link_libraries(tidra_${name} PUBLIC tidra_${known})
  endforeach()
  if(ROOM_USES)
    target_link_libraries(tidra_${name} PUBLIC ${ROOM_USES})
  endif()
  if(TIDRA_UNITY)
    set_target_properties(tidra_${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 40)
  endif()
  # Precompiled headers for the slow sanitizer builds only, since they hide missing includes.
  if(TIDRA_SANITIZE AND name STREQUAL "core_base")
    target_precompile_headers(tidra_core_base PRIVATE
      <nlohmann/json.hpp> <fmt/format.h> <algorithm> <chrono> <functional> <map> <optional> <set> <string> <variant> <vector>)
  elseif(TIDRA_SANITIZE)
    target_precompile_headers(tidra_${name} REUSE_FROM tidra_core_base)
  endif()
endfunction()

# Adds Objective-C++ sources to a room if Apple's frameworks are available.
function(tidra_framework_sources room)
  if(APPLE AND TIDRA_FRAMEWORKS)
    target_sources(tidra_${room} PRIVATE ${ARGN})
    target_link_libraries(tidra_${room} PRIVATE "-framework Foundation")
  endif()
endfunction()
