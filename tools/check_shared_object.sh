#!/bin/sh
# Checks the built shared object: its soname, that it needs only the C library
# and the loader, that it exports exactly the names of the version script (the
# functions of the headers and the two timespec twins for 64-bit time), and
# that nothing in it reaches for the C++ runtime.
# usage: check_shared_object.sh LIB MAP [READELF] [NM]
set -eu
lib=$1 map=$2 readelf=${3:-readelf} nm=${4:-nm}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
status=0
say() { echo "$*" >&2; status=1; }

"$readelf" -d "$lib" | grep -q 'SONAME.*\[libanvil\.so\.[0-9]*\]' || say "no versioned soname"

needed=$("$readelf" -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
for n in $needed; do
  case $n in libc.so.*|ld-linux*.so*) ;; *) say "unexpected NEEDED: $n" ;; esac
done

sed -n '/global:/,/local:/p' "$map" | sed 's,/\*.*\*/,,g; s/global://; s/local://' |
  tr ';' '\n' | tr -d ' \t' | grep -v '^$' | sort > "$tmp/want"
"$nm" -D --defined-only "$lib" | awk '$2 ~ /^[TWi]$/ { sub(/@.*/, "", $3); print $3 }' |
  sort > "$tmp/have"
missing=$(comm -23 "$tmp/want" "$tmp/have")
extra=$(comm -13 "$tmp/want" "$tmp/have")
[ -z "$missing" ] || say "in the map but not exported:" $missing
[ -z "$extra" ] || say "exported but not in the map:" $extra

cxx=$("$nm" -D --undefined-only "$lib" | grep -E ' (_Z|__cxa_|__gxx_personality)' |
     grep -v ' __cxa_finalize' || true)  # __cxa_finalize is the C library's
[ -z "$cxx" ] || say "C++ runtime symbols:" $cxx

[ $status -eq 0 ] && echo "$(wc -l < "$tmp/have") functions exported; needs:" $needed
exit $status
