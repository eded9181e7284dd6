#!/bin/sh
# Runs an example in a scratch directory and compares what it prints with the
# expected output; the example must also exit with status 0. --fixture copies
# a file or directory into the scratch directory first; --stdout compares
# standard output alone, for examples whose helpers log to standard error.
# usage: check_output.sh EXPECTED [--fixture PATH] [--stdout] COMMAND [ARGS...]
expected=$1
shift
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
if [ "$1" = --fixture ]; then
  cp -R "$2" "$scratch/" || exit 1
  shift 2
fi
cd "$scratch" || exit 1
if [ "$1" = --stdout ]; then
  shift
  "$@" > output 2> errors
else
  "$@" > output 2>&1
fi
status=$?
diff -u "$expected" output || { [ -f errors ] && cat errors; exit 1; }
[ $status -eq 0 ] || { [ -f errors ] && cat errors; echo "exit status $status"; exit 1; }
