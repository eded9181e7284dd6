#!/bin/sh
# Installs what is missing, builds the host and armhf trees, runs the examples.
set -eu
cd "$(dirname "$0")"
. tools/deps.sh
anvil_install_deps
anvil_build build
anvil_build build-arm -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake
echo "== examples (host)"
ctest --test-dir build -R '^example_' --output-on-failure
echo "== examples (armhf, under qemu)"
ctest --test-dir build-arm -R '^example_' --output-on-failure
