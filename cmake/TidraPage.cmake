# Joins a page and its parts into the document `output`. Lines "@include PATH" name the parts, relative to the page's folder; a
# change of any part rebuilds the document.
function(tidra_join_page output page)
  file(STRINGS "${page}" lines REGEX "^@include ")
  get_filename_component(folder "${page}" DIRECTORY)
  set(parts)
  foreach(line IN LISTS lines)
    string(REPLACE "@include " "" part "${line}")
    list(APPEND parts "${folder}/${part}")
  endforeach()
  # A change of the list itself reruns CMake.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${page}")
  add_custom_command(
    OUTPUT "${output}"
    COMMAND ${CMAKE_COMMAND} -DINPUT=${page} -DOUTPUT=${output} -P "${PROJECT_SOURCE_DIR}/cmake/join_page.cmake"
    DEPENDS "${page}" ${parts} "${PROJECT_SOURCE_DIR}/cmake/join_page.cmake"
    VERBATIM)
endfunction()
