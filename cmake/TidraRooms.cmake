# A room is a folder with one static library. Naming the rooms it may know here lets the linker refuse an arrow
# that points the wrong way; scripts/check-rooms refuses the same in the includes.
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
endfunction()
