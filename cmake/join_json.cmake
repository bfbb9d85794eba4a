# Script (cmake -P): writes OUTPUT, one JSON object with the document of each file in INPUTS (separated by "|") under the
# file's name without its extension.
string(REPLACE "|" ";" files "${INPUTS}")
set(separator "{")
set(joined "")
foreach(file IN LISTS files)
  get_filename_component(name "${file}" NAME_WE)
  file(READ "${file}" document)
  string(APPEND joined "${separator}\"${name}\":${document}")
  set(separator ",")
endforeach()
file(WRITE "${OUTPUT}.new" "${joined}}")
file(RENAME "${OUTPUT}.new" "${OUTPUT}")
