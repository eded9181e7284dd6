#!/bin/sh
# Installs a build tree into a staging directory (DESTDIR), checks what lands
# there, then builds examples/consumer against it as a user's project would,
# through find_package (plain and with _TIME_BITS=64) and through pkg-config,
# and runs the three programs.
# usage: check_install.sh BUILD PREFIX LIBDIR CC [TOOLCHAIN_FILE [EMULATOR...]]
set -eu
build=$1 prefix=$2 libdir=$3 cc=$4 toolchain=${5:-}
shift 4
[ $# -eq 0 ] || shift
src=$(cd "$(dirname "$0")/.." && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
stage=$tmp/stage
lib=$stage$prefix/$libdir
status=0
say() { echo "$*" >&2; status=1; }

DESTDIR=$stage cmake --install "$build" > "$tmp/install.log"

for f in include/anvil.h include/anvil/time_arith.h "$libdir/libanvil.so.1.0.0" \
         "$libdir/pkgconfig/anvil.pc" "$libdir/cmake/anvil/anvilConfig.cmake" \
         "$libdir/cmake/anvil/anvilConfigVersion.cmake" "$libdir/cmake/anvil/anvilTargets.cmake" \
         share/man/man3/readn.3 share/man/man3/ini_parser_create.3; do
  [ -f "$stage$prefix/$f" ] || say "not installed: $prefix/$f"
done
for link in libanvil.so:libanvil.so.1 libanvil.so.1:libanvil.so.1.0.0; do
  [ "$(readlink "$lib/${link%%:*}")" = "${link#*:}" ] || say "$libdir/${link%%:*} is no link to ${link#*:}"
done
[ $status -eq 0 ] || exit 1

# A cross build finds the staged tree as one more root, as it would a sysroot.
if [ -n "$toolchain" ]; then
  where="-DCMAKE_TOOLCHAIN_FILE=$toolchain -DCMAKE_FIND_ROOT_PATH=$stage"
else
  where="-DCMAKE_PREFIX_PATH=$stage$prefix"
fi
# shellcheck disable=SC2086
cmake -S "$src/examples/consumer" -B "$tmp/consumer" -G Ninja -DCMAKE_C_COMPILER="$cc" $where \
  > "$tmp/consumer.log" 2>&1 && cmake --build "$tmp/consumer" >> "$tmp/consumer.log" 2>&1 ||
  { cat "$tmp/consumer.log"; exit 1; }

flags=$(PKG_CONFIG_LIBDIR=$lib/pkgconfig PKG_CONFIG_SYSROOT_DIR=$stage pkg-config --cflags --libs anvil)
# shellcheck disable=SC2086
"$cc" -Wall -Werror -o "$tmp/consumer/consumer_pc" "$src/examples/consumer/consumer.c" \
  $flags -Wl,-rpath,"$lib"

for program in consumer consumer_time64 consumer_pc; do
  echo "== $program"
  "$@" "$tmp/consumer/$program" || say "$program failed"
done
exit $status
