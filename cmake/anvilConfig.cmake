# find_package(anvil) gives the imported target anvil::anvil.
include("${CMAKE_CURRENT_LIST_DIR}/anvilTargets.cmake")
