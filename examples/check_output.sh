#!/bin/sh
# Runs an example in a scratch directory and compares everything it prints
# with the expected output; the example must also exit with status 0.
# --fixture copies a file or directory into the scratch directory first.
# usage: check_output.sh EXPECTED [--fixture PATH] COMMAND [ARGS...]
expected=$1
shift
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
if [ "$1" = --fixture ]; then
  cp -R "$2" "$scratch/" || exit 1
  shift 2
fi
cd "$scratch" || exit 1
"$@" > output 2>&1
status=$?
diff -u "$expected" output || exit 1
[ $status -eq 0 ] || { echo "exit status $status"; exit 1; }
