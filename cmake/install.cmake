# Install rules: the shared object and its soname links (component runtime);
# the headers, the unversioned link, anvil.pc and the CMake package
# (component dev).
include(CMakePackageConfigHelpers)

set(ANVIL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/anvil)

install(TARGETS anvil EXPORT anvilTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT dev FILES_MATCHING PATTERN "*.h")

install(EXPORT anvilTargets NAMESPACE anvil:: DESTINATION ${ANVIL_CMAKEDIR} COMPONENT dev)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/anvilConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/anvilConfig.cmake
              ${PROJECT_BINARY_DIR}/anvilConfigVersion.cmake
  DESTINATION ${ANVIL_CMAKEDIR} COMPONENT dev)

# anvil.pc is written at install time, so that it names the prefix actually
# installed to (cmake --install --prefix, CPack's /usr), not the configured one.
install(CODE "
  set(ANVIL_PC_TEMPLATE \"${PROJECT_SOURCE_DIR}/cmake/anvil.pc.in\")
  set(ANVIL_PC_VERSION ${PROJECT_VERSION})
  set(ANVIL_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(ANVIL_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  include(\"${PROJECT_SOURCE_DIR}/cmake/write_pc.cmake\")" COMPONENT dev)
