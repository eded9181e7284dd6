#!/bin/sh
# Static analysis of the library and the daemon beside it: clang-tidy with
# the checks in .clang-tidy, compiled as for the host and as for armhf (where
# size_t, long and pointers are 32 bits), then cppcheck as a 64-bit and as a
# 32-bit target. Prints what each run found and a summary; exits non-zero on
# any finding. Nothing is built: the trees are only configured, for their
# compile_commands.json.
set -eu
cd "$(dirname "$0")/.."
root=$(pwd)
jobs=$(nproc)
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# configure DIR [cmake options...]: a tree that compiles the library and the
# daemon only. Configured again every time, for the sources added since.
configure() {
  dir=$1
  shift
  if [ -f "$dir/CMakeCache.txt" ]; then
    cmake -S . -B "$dir" > /dev/null
  else
    cmake -S . -B "$dir" -G Ninja -DANVIL_TESTS=OFF -DANVIL_BENCH=OFF -DANVIL_EXAMPLES=OFF \
      "$@" > /dev/null
  fi
}
configure build-analysis
configure build-analysis-arm -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake

# The sources each tree compiles below the library's and the daemon's folders.
sources() {
  sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$1/compile_commands.json" |
    grep -E "^$root/(io|unsock|fs|containers|text|base|execd)/[^/]*\.(c|cpp)$" | sort -u
}

status=0
files=0
# report NAME LOG STATUS: one line per run; a finding is a line that ends in
# a check's name in brackets, counted once even when several files include
# the header it is in.
report() {
  findings=$(grep -E '^[^ ].*:[0-9]+:[0-9]+: .*\[[A-Za-z0-9_.,-]+\]$' "$2" | sort -u | wc -l)
  if [ "$findings" -ne 0 ] || [ "$3" -ne 0 ]; then
    cat "$2"
    status=1
  fi
  echo "$1: $files files, findings: $findings"
}

tidy() {
  sources "$2" > "$out/files"
  files=$(wc -l < "$out/files")
  rc=0
  # One file per process: clang-tidy 14's va_list checker, given several
  # files, misses va_start in all but the first and reports its va_list as
  # uninitialised.
  xargs -P "$jobs" -n 1 clang-tidy -p "$2" --quiet < "$out/files" > "$out/tidy" 2> "$out/tidy.err" ||
    rc=$?
  # Its count of what it found in system headers and left out is noise.
  [ "$rc" -eq 0 ] || grep -v 'generated\.$' "$out/tidy.err" >> "$out/tidy" || true
  report "clang-tidy ($1)" "$out/tidy" "$rc"
}
tidy host build-analysis
tidy armhf build-analysis-arm

check() {
  rc=0
  cppcheck --project=build-analysis/compile_commands.json --platform="$2" -j "$jobs" \
    --enable=warning,style,performance,portability --library=posix --inline-suppr \
    --error-exitcode=1 --quiet --template='{file}:{line}:{column}: {severity}: {message} [{id}]' \
    2> "$out/cppcheck" || rc=$?
  report "cppcheck ($1)" "$out/cppcheck" "$rc"
}
files=$(sources build-analysis | wc -l)
check 64-bit unix64
check 32-bit unix32

if [ "$status" -eq 0 ]; then
  echo "static analysis: clean"
else
  echo "static analysis: FAILED"
fi
exit "$status"
