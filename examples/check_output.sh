#!/bin/sh
# Runs an example and compares everything it prints with the expected output;
# the example must also exit with status 0.
# usage: check_output.sh EXPECTED COMMAND [ARGS...]
expected=$1
shift
out=$(mktemp)
trap 'rm -f "$out"' EXIT
"$@" > "$out" 2>&1
status=$?
diff -u "$expected" "$out" || exit 1
[ $status -eq 0 ] || { echo "exit status $status"; exit 1; }
