#!/bin/sh
# Builds the Debian packages of a build tree with CPack and checks their
# control fields and contents. Exits 77 (skipped) for a tree not configured
# with the /usr prefix, whose packages would not use the multiarch directory.
# usage: check_debs.sh BUILD PREFIX LIBDIR VERSION CONFIG (lower case)
set -eu
build=$1 prefix=$2 libdir=$3 version=$4 config=$5
if [ "$prefix" != /usr ]; then
  echo "skipped: configure with -DCMAKE_INSTALL_PREFIX=/usr to build Debian packages"
  exit 77
fi
# The target's architecture, named by dpkg from the multiarch directory.
arch=$(dpkg-architecture -qDEB_HOST_ARCH -t "$(basename "$libdir")" 2>/dev/null) ||
  { echo "$libdir is no multiarch directory" >&2; exit 1; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
status=0
say() { echo "$*" >&2; status=1; }

cpack -G DEB -B "$tmp" --config "$build/CPackConfig.cmake" > "$tmp/cpack.log" 2>&1 ||
  { cat "$tmp/cpack.log"; exit 1; }

# package, its Depends (an extended regular expression), then what it holds:
# every file and link, and nothing else but directories.
check() {
  deb=$tmp/${1}_${version}_$arch.deb depends=$2
  shift 2
  [ -f "$deb" ] || { say "no package $deb"; return; }
  echo "== $(basename "$deb")"
  dpkg-deb -I "$deb" | sed -n 's/^ \(Package\|Architecture\|Multi-Arch\|Depends\|Section\): /\1: /p' |
    tee "$tmp/fields"
  for field in "Architecture: $arch" "Multi-Arch: same" "Depends: $depends"; do
    grep -Eqx "$field" "$tmp/fields" || say "$1: wants $field"
  done
  dpkg-deb -c "$deb" | awk '$1 !~ /^d/ { $1 = $2 = $3 = $4 = $5 = ""; sub(/^ +/, ""); print }' |
    sort > "$tmp/have"
  printf '%s\n' "$@" | sort > "$tmp/want"
  diff -u "$tmp/want" "$tmp/have" >&2 || say "$(basename "$deb"): unexpected contents"
}
check libanvil1 'libc6 \(>= 2\.[0-9]+\)' \
  "./usr/$libdir/libanvil.so.1 -> libanvil.so.1.0.0" "./usr/$libdir/libanvil.so.1.0.0"
headers=$(cd "$(dirname "$0")/../include" && find . -name '*.h' | sed 's,^\.,./usr/include,')
pages=$(cd "$build/manual" 2>/dev/null && find man3 -name '*.3' | sed 's,^,./usr/share/man/,')
# shellcheck disable=SC2086
check libanvil-dev "libanvil1 \(= $version\)" $headers $pages \
  "./usr/$libdir/libanvil.so -> libanvil.so.1" "./usr/$libdir/pkgconfig/anvil.pc" \
  "./usr/$libdir/cmake/anvil/anvilConfig.cmake" "./usr/$libdir/cmake/anvil/anvilConfigVersion.cmake" \
  "./usr/$libdir/cmake/anvil/anvilTargets.cmake" "./usr/$libdir/cmake/anvil/anvilTargets-$config.cmake"

# Programs linked against the library depend on a version at least as new.
[ "$(dpkg-deb -I "$tmp/libanvil1_${version}_$arch.deb" shlibs)" = "libanvil 1 libanvil1 (>= $version)" ] ||
  say "libanvil1: wants shlibs 'libanvil 1 libanvil1 (>= $version)'"

# The pkg-config file names the packaged prefix, not the configured one.
dpkg-deb --fsys-tarfile "$tmp/libanvil-dev_${version}_$arch.deb" |
  tar -xO "./usr/$libdir/pkgconfig/anvil.pc" | grep -qx 'prefix=/usr' || say "anvil.pc: wants prefix=/usr"
exit $status
