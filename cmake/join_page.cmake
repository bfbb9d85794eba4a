# Run as a script: writes OUTPUT, the page INPUT in which every line "@include PATH" is replaced by the file PATH (relative to
# the page's folder). The joined page needs nothing from elsewhere.
get_filename_component(folder "${INPUT}" DIRECTORY)
file(READ "${INPUT}" page)
string(REGEX MATCHALL "@include [A-Za-z0-9_./-]+" includes "${page}")
foreach(include IN LISTS includes)
  string(REPLACE "@include " "" path "${include}")
  file(READ "${folder}/${path}" part)
  # Either tag would end the inline element early, wherever it stands.
  string(REGEX MATCH "</(script|style)|<!--" early "${part}")
  if(early)
    message(FATAL_ERROR "${folder}/${path} holds '${early}', which would end the element that it is placed in")
  endif()
  string(REPLACE "${include}\n" "${part}" page "${page}")
endforeach()
file(WRITE "${OUTPUT}.new" "${page}")
execute_process(COMMAND "${CMAKE_COMMAND}" -E rename "${OUTPUT}.new" "${OUTPUT}")
