# Cross-build for 32-bit ARMv7-A hard-float devices; ctest runs the results under qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(ANVIL_SYSROOT /usr/arm-linux-gnueabihf)
# After any root the user gives, such as a staged install of a dependency.
list(APPEND CMAKE_FIND_ROOT_PATH ${ANVIL_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR
  qemu-arm -L ${ANVIL_SYSROOT} -E LD_LIBRARY_PATH=${ANVIL_SYSROOT}/lib)
