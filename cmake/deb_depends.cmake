# Read by cpack: Depends on the newest C library symbol version the shared
# object uses, as dpkg-shlibdeps would find it.
execute_process(COMMAND "${ANVIL_READELF}" -V --wide "${ANVIL_LIBRARY}"
  OUTPUT_VARIABLE versions COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "GLIBC_[0-9.]+" versions "${versions}")
string(REPLACE "GLIBC_" "" versions "${versions}")
list(SORT versions COMPARE NATURAL ORDER DESCENDING)
list(GET versions 0 libc)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6 (>= ${libc})")
set(CPACK_DEBIAN_EXECD_PACKAGE_DEPENDS "libc6 (>= ${libc}), libanvil1 (= ${CPACK_PACKAGE_VERSION})")
