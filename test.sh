#!/bin/sh
# Runs the static analysis (clang-tidy, cppcheck), then builds if needed and
# runs every test: the host build under AddressSanitizer and
# UndefinedBehaviorSanitizer, the host build again for the library's coverage
# (gcovr's report), the mutex test under ThreadSanitizer, the
# armhf build under qemu (with the install, package and ABI checks), the same
# install and package checks on a plain host build, then each fuzz target over
# its seeds: a minute for the INI and text parsers and for each container
# model, half a minute for each of the others.
set -eu
cd "$(dirname "$0")"
. tools/deps.sh
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
# stage NAME: closes the running stage with its duration, then opens NAME
# ("" only closes). The durations are repeated in the summary.
stage_name="" stage_started=$(date +%s)
stage() {
  now=$(date +%s)
  [ -z "$stage_name" ] || echo "$stage_name: $((now - stage_started)) s" | tee -a "$logs/times"
  stage_name=$1 stage_started=$now
  [ -z "$1" ] || echo "== $1"
}
stage "packages"
anvil_install_deps
jobs=$(nproc)
# First: it builds nothing, and a finding fails the run in a minute or two.
stage "static analysis"
tools/analyze.sh | tee "$logs/analysis"
grep -q '^static analysis: clean' "$logs/analysis"
stage "build: host (ASan, UBSan)"
anvil_build build-asan -DANVIL_SANITIZE=ON -DANVIL_BENCH=OFF
# Unoptimised and without the sanitizers, whose checks would count as
# branches of the library's own.
stage "build: host (coverage)"
anvil_build build-cov -DCMAKE_BUILD_TYPE=Debug -DANVIL_COVERAGE=ON -DANVIL_BENCH=OFF -DANVIL_EXAMPLES=OFF
stage "build: host (TSan)"
anvil_build build-tsan -DANVIL_TSAN=ON -DANVIL_BENCH=OFF -DANVIL_EXAMPLES=OFF
# The /usr prefix: the Debian packages take their multiarch directory from it.
stage "build: armhf"
anvil_build build-arm -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake -DCMAKE_INSTALL_PREFIX=/usr
stage "build: fuzz targets (clang)"
CC=clang CXX=clang++ anvil_build build-fuzz -DANVIL_FUZZ=ON
# Each ctest run stops the script when it fails, its output last.
run_ctest() {
  ctest --test-dir "$1" --output-on-failure -j "$jobs" | tee "$logs/$1"
  grep -q '^100% tests passed' "$logs/$1"
}
stage "host tests (ASan, UBSan)"
run_ctest build-asan
# Counts start from zero; gcovr.cfg holds the filters and the thresholds,
# under which the run fails once the rest is done. The per-file report is
# also left in build-cov/coverage/index.html.
stage "coverage (host tests, gcov)"
find build-cov -name '*.gcda' -delete
run_ctest build-cov
coverage_status=0
mkdir -p build-cov/coverage
gcovr build-cov --txt "$logs/coverage.txt" --html-details build-cov/coverage/index.html \
  > "$logs/coverage" 2>&1 || coverage_status=1
cat "$logs/coverage.txt" "$logs/coverage"
stage "host mutex test (TSan)"
run_ctest build-tsan
stage "armhf tests (qemu-arm)"
run_ctest build-arm
# The plain host tree serves only the packaging checks, which need nothing
# built but what is installed: the library, the daemon and the manual.
stage "host install, packages and shared object"
[ -f build/CMakeCache.txt ] || cmake -S . -B build -G Ninja > /dev/null
cmake -S . -B build -DCMAKE_INSTALL_PREFIX=/usr > /dev/null
cmake --build build --target anvil anvil-execd manual
ctest --test-dir build --output-on-failure -L package | tee "$logs/build"
grep -q '^100% tests passed' "$logs/build"

# New inputs go to a scratch directory: the seed corpus in the tree stays as it is.
# fuzz TARGET SECONDS SEED_DIR...
fuzz() {
  target=$1
  seconds=$2
  shift 2
  mkdir -p "$logs/$target.corpus"
  if build-fuzz/tests/fuzz/"$target" -max_total_time="$seconds" -artifact_prefix="$logs/" \
       "$logs/$target.corpus" "$@" > "$logs/$target.log" 2>&1; then
    echo "$target: $(grep -o 'Done [0-9]* runs in [0-9]* second(s)' "$logs/$target.log"), no failure"
  else
    tail -n 60 "$logs/$target.log"
    mkdir -p fuzz-out && cp "$logs"/crash-* "$logs"/leak-* "$logs"/timeout-* fuzz-out/ 2>/dev/null || true
    echo "$target: FAILED, inputs kept in fuzz-out/"
    return 1
  fi
}
stage "fuzzing"
fuzz_status=0
fuzz fuzz_ini 60 tests/fuzz/ini tests/data/ini >> "$logs/fuzz" || fuzz_status=1
fuzz fuzz_text 60 tests/fuzz/text >> "$logs/fuzz" || fuzz_status=1
# The other parsers of outside input and the vector walks.
for target in recvstr stat_name path iov; do
  fuzz fuzz_$target 30 tests/fuzz/$target >> "$logs/fuzz" || fuzz_status=1
done
# The containers against their models.
for target in ring_buffer dlist array_stream word_containers string_builder bitmap; do
  fuzz fuzz_$target 60 tests/fuzz/$target >> "$logs/fuzz" || fuzz_status=1
done
grep -v '^fuzz_' "$logs/fuzz" || true  # what a failing target printed

stage ""
echo "== summary"
echo "static analysis:"
grep -E '^(clang-tidy|cppcheck) ' "$logs/analysis"
grep '^fuzz_' "$logs/fuzz"
echo "host tests (ASan, UBSan):"
grep 'tests passed' "$logs/build-asan"
echo "coverage (host tests, gcov):"
grep 'tests passed' "$logs/build-cov"
grep -E '^(lines|branches):|ERROR' "$logs/coverage" || true
echo "host mutex test (TSan):"
grep 'tests passed' "$logs/build-tsan"
echo "armhf tests (qemu-arm):"
grep 'tests passed' "$logs/build-arm"
echo "host install, packages and shared object:"
grep 'tests passed' "$logs/build"
echo "stage times:"
cat "$logs/times"
exit $((fuzz_status | coverage_status))
