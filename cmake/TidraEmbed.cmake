# Adds a library tidra_text_<symbol> that defines `const std::string_view tidra::<symbol>` with the bytes of the file `input`. It
# links nothing: a generated source waits for all libraries that its target links, which would serialise the build.
function(tidra_embed_text symbol input)
  set(source "${CMAKE_CURRENT_BINARY_DIR}/${symbol}.cpp")
  add_custom_command(
    OUTPUT "${source}"
    COMMAND ${CMAKE_COMMAND} -DINPUT=${input} -DOUTPUT=${source} -DSYMBOL=${symbol}
            -P "${PROJECT_SOURCE_DIR}/cmake/embed_text.cmake"
    DEPENDS "${input}" "${PROJECT_SOURCE_DIR}/cmake/embed_text.cmake"
    VERBATIM)
  add_library(tidra_text_${symbol} STATIC "${source}")
endfunction()

# As tidra_embed_text(), for one JSON object with the document of each file under the file's name.
function(tidra_embed_json_files symbol)
  set(joined "${CMAKE_CURRENT_BINARY_DIR}/${symbol}.json")
  string(REPLACE ";" "|" inputs "${ARGN}")
  add_custom_command(
    OUTPUT "${joined}"
    COMMAND ${CMAKE_COMMAND} "-DINPUTS=${inputs}" -DOUTPUT=${joined} -P "${PROJECT_SOURCE_DIR}/cmake/join_json.cmake"
    DEPENDS ${ARGN} "${PROJECT_SOURCE_DIR}/cmake/join_json.cmake"
    VERBATIM)
  tidra_embed_text(${symbol} "${joined}")
endfunction()
