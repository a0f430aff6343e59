# CPack runs this script before it packs the installed files. The script removes the sections .comment and .note, as
# Debian's own tools do.
file(GLOB_RECURSE files LIST_DIRECTORIES false "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/bin/*"
  "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/lib/*")
foreach(file IN LISTS files)
  file(READ "${file}" magic LIMIT 4 HEX)
  if(magic STREQUAL "7f454c46")
    execute_process(COMMAND "${CPACK_TAVIK_STRIP}" --remove-section=.comment --remove-section=.note "${file}" COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
