# Debian packages through CPack: libanvil1 (the shared object), libanvil-dev
# (headers, anvil.pc, the CMake package, the unversioned link) and, when
# programs are installed beside the library, anvil-execd. Built from a tree
# configured with -DCMAKE_INSTALL_PREFIX=/usr, so that the library lands in
# the multiarch directory:  cd BUILD && cpack
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libanvil)
set(CPACK_PACKAGE_CONTACT "libanvil maintainers <maintainers@libanvil.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "utility library for programs on embedded Linux")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# Staged through DESTDIR, so that the install rules see the real prefix.
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

# The target's architecture, not the build machine's, named by dpkg.
execute_process(COMMAND dpkg-architecture -qDEB_HOST_ARCH -t ${CMAKE_LIBRARY_ARCHITECTURE}
  OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libanvil1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)  # with the ldconfig trigger; only libanvil1 holds a library
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "utility library for programs on embedded Linux
 Whole-buffer descriptor I/O, abstract-namespace local sockets, a client for a
 command-execution daemon, containers, an INI parser, a futex mutex, timespec
 arithmetic and string hashes, as plain C functions.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libanvil-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libanvil1 (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEV_DESCRIPTION "utility library for programs on embedded Linux - development files
 The C headers, the pkg-config file anvil.pc and the CMake package anvil
 (target anvil::anvil) for building programs against libanvil.")

set(CPACK_DEBIAN_EXECD_PACKAGE_NAME anvil-execd)
set(CPACK_DEBIAN_EXECD_PACKAGE_SECTION admin)
set(CPACK_COMPONENT_EXECD_DESCRIPTION "command-execution daemon for libanvil's lsystem client")

# Set when cpack runs: the C library version the built shared object needs,
# which dpkg-shlibdeps cannot find for a foreign architecture.
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/CPackAnvil.cmake CONTENT "
set(ANVIL_LIBRARY \"$<TARGET_FILE:anvil>\")
set(ANVIL_READELF \"${CMAKE_READELF}\")
include(\"${PROJECT_SOURCE_DIR}/cmake/deb_depends.cmake\")
")
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/CPackAnvil.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/deb_multiarch.cmake)

include(CPack)
