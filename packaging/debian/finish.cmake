# Debian policy: a package changelog, and long documents compressed.
file(GLOB_RECURSE pages "${CPACK_TEMPORARY_DIRECTORY}/*/share/man/*.1")
foreach(page IN LISTS pages)
  get_filename_component(usr "${page}/../../../.." ABSOLUTE)
endforeach()
set(documents "${usr}/share/doc/tidra")
file(RENAME "${documents}/CHANGELOG.md" "${documents}/changelog")
configure_file("${CPACK_TIDRA_DEBIAN_CHANGELOG}" "${documents}/changelog.Debian" COPYONLY)
configure_file("${CPACK_TIDRA_LINTIAN_OVERRIDES}" "${usr}/share/lintian/overrides/tidra" COPYONLY)
execute_process(COMMAND gzip -9n ${pages} "${documents}/changelog" "${documents}/changelog.Debian"
                COMMAND_ERROR_IS_FATAL ANY)
file(CHMOD "${documents}/changelog.Debian.gz"
     PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
