# Run by cpack after the packages are built: adds the Multi-Arch field, which
# CPack does not write. Libraries are co-installable across architectures
# (same); programs serve any architecture (foreign).
foreach(deb ${CPACK_PACKAGE_FILES})
  get_filename_component(name "${deb}" NAME)
  if(name MATCHES "^lib")
    set(multiarch same)
  else()
    set(multiarch foreign)
  endif()
  set(dir "${deb}.tree")
  file(REMOVE_RECURSE "${dir}")
  execute_process(COMMAND dpkg-deb -R "${deb}" "${dir}" COMMAND_ERROR_IS_FATAL ANY)
  file(READ "${dir}/DEBIAN/control" control)
  string(REGEX REPLACE "(Architecture: [^\n]*\n)" "\\1Multi-Arch: ${multiarch}\n" control "${control}")
  file(WRITE "${dir}/DEBIAN/control" "${control}")
  execute_process(COMMAND dpkg-deb --root-owner-group -b "${dir}" "${deb}"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE "${dir}")
endforeach()
