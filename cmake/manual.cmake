# The reference manual, written from the public headers into the build tree:
# manual/man3/<function>.3 for man, manual/md/<family>.md for the web.
find_package(Python3 COMPONENTS Interpreter)
if(NOT Python3_Interpreter_FOUND)
  message(STATUS "No Python 3: the manual is not built")
  return()
endif()

file(GLOB ANVIL_PUBLIC_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/anvil/*.h)
set(ANVIL_MANUAL_DIR ${PROJECT_BINARY_DIR}/manual)
set(ANVIL_GEN_MANUAL ${PROJECT_SOURCE_DIR}/tools/gen_manual.py)
add_custom_command(OUTPUT ${ANVIL_MANUAL_DIR}/stamp
  COMMAND ${Python3_EXECUTABLE} ${ANVIL_GEN_MANUAL} --version ${PROJECT_VERSION}
          --map ${ANVIL_MAP} ${PROJECT_SOURCE_DIR}/include ${ANVIL_MANUAL_DIR}
  COMMAND ${CMAKE_COMMAND} -E touch ${ANVIL_MANUAL_DIR}/stamp
  DEPENDS ${ANVIL_PUBLIC_HEADERS} ${ANVIL_GEN_MANUAL} ${ANVIL_MAP}
  COMMENT "Writing the manual from the public headers")
add_custom_target(manual ALL DEPENDS ${ANVIL_MANUAL_DIR}/stamp)

# Section 3 pages belong with the headers, in the development package.
include(GNUInstallDirs)
install(DIRECTORY ${ANVIL_MANUAL_DIR}/man3/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT dev)

# Written afresh and checked on every test run: every exported function has a
# page with its return value and errors, and man renders each one cleanly.
if(ANVIL_TESTS AND NOT ANVIL_TSAN)
  add_test(NAME manual
    COMMAND ${PROJECT_SOURCE_DIR}/tools/check_manual.sh ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR})
  set_tests_properties(manual PROPERTIES SKIP_RETURN_CODE 77)
endif()
