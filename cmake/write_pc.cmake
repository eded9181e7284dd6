# Writes anvil.pc for the prefix being installed to; run by the install rules
# with ANVIL_PC_TEMPLATE, ANVIL_PC_VERSION, ANVIL_PC_LIBDIR and
# ANVIL_PC_INCLUDEDIR set.
set(ANVIL_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
foreach(dir ANVIL_PC_LIBDIR ANVIL_PC_INCLUDEDIR)
  if(NOT IS_ABSOLUTE "${${dir}}")
    set(${dir} "\${prefix}/${${dir}}")
  endif()
endforeach()
string(REPLACE "\${prefix}" "${CMAKE_INSTALL_PREFIX}" pc "${ANVIL_PC_LIBDIR}/pkgconfig/anvil.pc")
message(STATUS "Installing: $ENV{DESTDIR}${pc}")
configure_file("${ANVIL_PC_TEMPLATE}" "$ENV{DESTDIR}${pc}" @ONLY)
list(APPEND CMAKE_INSTALL_MANIFEST_FILES "${pc}")
