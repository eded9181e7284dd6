#!/bin/sh
# Installs what is missing, builds the host and armhf trees, runs the example
# against the anvil-execd just built.
set -eu
cd "$(dirname "$0")"
. tools/deps.sh
anvil_install_deps
anvil_build build
anvil_build build-arm -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake
echo "== example (host)"
./build/examples/lsystem_demo
echo "== example (armhf, under qemu)"
qemu="qemu-arm -L /usr/arm-linux-gnueabihf -E LD_LIBRARY_PATH=/usr/arm-linux-gnueabihf/lib"
# The armhf daemon the example starts needs the emulator as well.
ANVIL_EXECD="$qemu $PWD/build-arm/execd/anvil-execd" $qemu ./build-arm/examples/lsystem_demo
