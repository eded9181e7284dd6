#!/bin/sh
# Runs the uncontended lock test of test_mutex under strace and fails if the
# kernel saw any system call between the test's two close(-1) markers.
# Exits 77 (skipped) where this process may not be traced.
# usage: strace_no_syscall.sh STRACE TEST_MUTEX
set -u
strace=$1 test_bin=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# LeakSanitizer cannot work under a tracer.
ASAN_OPTIONS=detect_leaks=0 "$strace" -f -qq -o "$tmp/log" "$test_bin" \
  --gtest_filter=Mutex.UncontendedPairsMakeNoSystemCall > "$tmp/out" 2> "$tmp/err"
rc=$?
if [ "$(grep -c 'close(-1)' "$tmp/log" 2>/dev/null)" != 2 ]; then
  echo "cannot trace here, skipped:" >&2
  cat "$tmp/err" >&2
  exit 77
fi
between=$(awk '/close\(-1\)/ { n++; next } n == 1' "$tmp/log")
if [ -n "$between" ]; then
  echo "system calls made by uncontended lock and unlock:" >&2
  echo "$between" >&2
  exit 1
fi
[ $rc -eq 0 ] || cat "$tmp/out" >&2
exit $rc
