# Generates files while CMake configures, not while Ninja builds: in a build, every source of a target would wait for the
# generated sources of all libraries that the target links.

# Writes `output` by the script `name` with `-D` definitions, if it is older than one of the inputs (after INPUTS). A change of an
# input makes CMake run again.
function(tidra_generate output name)
  cmake_parse_arguments(GENERATE "" "" "DEFINITIONS;INPUTS" ${ARGN})
  set(script "${PROJECT_SOURCE_DIR}/cmake/${name}.cmake")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${script}" ${GENERATE_INPUTS})
  foreach(input IN LISTS GENERATE_INPUTS script)
    if("${input}" IS_NEWER_THAN "${output}")
      execute_process(COMMAND ${CMAKE_COMMAND} "-DOUTPUT=${output}" ${GENERATE_DEFINITIONS} -P "${script}"
                      COMMAND_ERROR_IS_FATAL ANY)
      return()
    endif()
  endforeach()
endfunction()

# Adds a library tidra_text_<symbol> that defines `const std::string_view tidra::<symbol>` with the bytes of the file `input`.
function(tidra_embed_text symbol input)
  set(source "${CMAKE_CURRENT_BINARY_DIR}/${symbol}.cpp")
  tidra_generate("${source}" embed_text DEFINITIONS "-DINPUT=${input}" "-DSYMBOL=${symbol}" INPUTS "${input}")
  add_library(tidra_text_${symbol} STATIC "${source}")
endfunction()

# As tidra_embed_text(), for one JSON object with the document of each file under the file's name.
function(tidra_embed_json_files symbol)
  set(joined "${CMAKE_CURRENT_BINARY_DIR}/${symbol}.json")
  string(REPLACE ";" "|" inputs "${ARGN}")
  tidra_generate("${joined}" join_json DEFINITIONS "-DINPUTS=${inputs}" INPUTS ${ARGN})
  tidra_embed_text(${symbol} "${joined}")
endfunction()
