# Joins a page of several sources into the one document `output`. The page names its parts in lines "@include PATH", with paths
# relative to its own folder; a change of any part makes the document anew.
function(tidra_join_page output page)
  file(STRINGS "${page}" lines REGEX "^@include ")
  get_filename_component(folder "${page}" DIRECTORY)
  set(parts)
  foreach(line IN LISTS lines)
    string(REPLACE "@include " "" part "${line}")
    list(APPEND parts "${folder}/${part}")
  endforeach()
  # A change of the list itself is seen too, since the page is an input of the configuration.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${page}")
  add_custom_command(
    OUTPUT "${output}"
    COMMAND ${CMAKE_COMMAND} -DINPUT=${page} -DOUTPUT=${output} -P "${PROJECT_SOURCE_DIR}/cmake/join_page.cmake"
    DEPENDS "${page}" ${parts} "${PROJECT_SOURCE_DIR}/cmake/join_page.cmake"
    VERBATIM)
endfunction()
