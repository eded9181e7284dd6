#!/bin/sh
# The library's ABI against the committed baseline, taken from the armhf
# build with libabigail.
#   abi.sh check [LIB]    fails on an incompatible change: a function removed,
#                         or changed with the public records it uses; new
#                         functions are fine
#   abi.sh update [LIB]   rewrites the baseline from LIB, after a deliberate
#                         change or once new functions have been added
# LIB defaults to build-arm/libanvil.so.1 (built RelWithDebInfo: abidw reads
# the types from the debug information).
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
baseline=$root/cmake/abi/libanvil-armhf.abi
mode=${1:-check} lib=${2:-$root/build-arm/libanvil.so.1}

# Only what the public headers declare, and no paths of this machine.
dump() {
  abidw --headers-dir "$root/include" --drop-private-types --no-show-locs \
    --no-corpus-path --no-comp-dir-path --type-id-style hash "$lib" |
    sed "s|path='$root/|path='|" > "$1"
}

case $mode in
  update)
    dump "$baseline"
    echo "wrote $baseline" ;;
  check)
    tmp=$(mktemp -d)
    trap 'rm -rf "$tmp"' EXIT
    dump "$tmp/current.abi"
    if abidiff --no-added-syms "$baseline" "$tmp/current.abi"; then
      echo "ABI compatible with cmake/abi/libanvil-armhf.abi"
    else
      echo "incompatible ABI change; if deliberate: tools/abi.sh update" >&2
      exit 1
    fi ;;
  *) echo "usage: abi.sh check|update [LIB]" >&2; exit 2 ;;
esac
