# Run by CPack over the files that it is about to pack: what Debian keeps elsewhere or compressed, and one
# date for all files, so that the same sources give the same package.
if(CPACK_GENERATOR STREQUAL "DEB")
  set(share "${CPACK_TEMPORARY_DIRECTORY}/usr/share")
  file(MAKE_DIRECTORY "${share}/zsh")
  file(RENAME "${share}/zsh/site-functions" "${share}/zsh/vendor-completions")
  # Its policy wants a list of changes; this package is made from the sources as they stand.
  if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(date "@$ENV{SOURCE_DATE_EPOCH}")
  else()
    set(date now)
  endif()
  execute_process(COMMAND date -u -R -d "${date}" OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE
    COMMAND_ERROR_IS_FATAL ANY)
  set(changes "${share}/doc/vsp32/changelog")
  file(WRITE "${changes}" "vsp32 (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * The sources as they stood on this date.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  execute_process(COMMAND gzip -9n "${changes}" COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND gzip -9n "${share}/man/man1/vsp32.1" COMMAND_ERROR_IS_FATAL ANY)
endif()
execute_process(COMMAND chmod -R u+w,go-w,a+rX "${CPACK_TEMPORARY_DIRECTORY}" COMMAND_ERROR_IS_FATAL ANY)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -exec touch -h -d "@$ENV{SOURCE_DATE_EPOCH}" {} +
    COMMAND_ERROR_IS_FATAL ANY)
endif()
