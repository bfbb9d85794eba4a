# Turns a text file of the tree into a source file that defines `const std::string_view tidra::<symbol>`.
# The text is cut into pieces because compilers limit the length of one string literal.
function(tidra_embed_text output input symbol)
  add_custom_command(
    OUTPUT "${output}"
    COMMAND ${CMAKE_COMMAND} -DINPUT=${input} -DOUTPUT=${output} -DSYMBOL=${symbol}
            -P "${PROJECT_SOURCE_DIR}/cmake/embed_text.cmake"
    DEPENDS "${input}" "${PROJECT_SOURCE_DIR}/cmake/embed_text.cmake"
    VERBATIM)
endfunction()
