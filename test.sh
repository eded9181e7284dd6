#!/bin/sh
# Builds if needed and runs every test: the host build under AddressSanitizer
# and UndefinedBehaviorSanitizer, the mutex test under ThreadSanitizer, then
# the armhf build under qemu.
set -eu
cd "$(dirname "$0")"
. tools/deps.sh
anvil_install_deps
jobs=$(nproc)
anvil_build build-asan -DANVIL_SANITIZE=ON -DANVIL_BENCH=OFF
anvil_build build-tsan -DANVIL_TSAN=ON -DANVIL_BENCH=OFF -DANVIL_EXAMPLES=OFF
anvil_build build-arm -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake
echo "== host tests (ASan, UBSan)"
ctest --test-dir build-asan --output-on-failure -j "$jobs"
echo "== host mutex test (TSan)"
ctest --test-dir build-tsan --output-on-failure -j "$jobs"
echo "== armhf tests (qemu-arm)"
ctest --test-dir build-arm --output-on-failure -j "$jobs"
