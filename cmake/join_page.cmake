# Script (cmake -P): writes OUTPUT, the page INPUT with every line "@include PATH" replaced by the file PATH (relative to the
# page's folder). The result is self-contained.
get_filename_component(folder "${INPUT}" DIRECTORY)
file(READ "${INPUT}" page)
string(REGEX MATCHALL "@include [A-Za-z0-9_./-]+" includes "${page}")
foreach(include IN LISTS includes)
  string(REPLACE "@include " "" path "${include}")
  file(READ "${folder}/${path}" part)
  # Either tag would end the inline element early, even inside a string.
  string(REGEX MATCH "</(script|style)|<!--" early "${part}")
  if(early)
    message(FATAL_ERROR "${folder}/${path} contains '${early}', which would end its inline element early")
  endif()
  string(REPLACE "${include}\n" "${part}" page "${page}")
endforeach()
file(WRITE "${OUTPUT}.new" "${page}")
execute_process(COMMAND "${CMAKE_COMMAND}" -E rename "${OUTPUT}.new" "${OUTPUT}")
