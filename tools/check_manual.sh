#!/bin/sh
# Writes the manual afresh from the headers and checks it: every name the
# version script exports has a man page, and each page renders without
# warnings, with its synopsis, return value and errors.
# usage: check_manual.sh PYTHON SOURCE_DIR
set -eu
python=$1 src=$2
command -v groff > /dev/null && command -v man > /dev/null || {
  echo "groff or man is not installed"
  exit 77
}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
status=0
"$python" "$src/tools/gen_manual.py" --strict --map "$src/cmake/libanvil.map" \
  "$src/include" "$out" || status=1

# One groff run for every page (man -l costs a second or more per page).
groff -man -Tutf8 -ww -rLL=80n -P-cbou "$out"/man3/*.3 > "$out/all" 2> "$out/warnings"
if [ -s "$out/warnings" ]; then
  cat "$out/warnings"
  status=1
fi

# The sections of each page that have text under them, as "page:SECTION".
awk '
  /^[A-Za-z_0-9]+\(3\)/ { page = $0; sub(/\(3\).*/, "", page); next }  # a header line
  /^[A-Z][A-Z ]*$/ { heading = $0; next }
  /^       [^ ]/ && heading != "" { print page ":" heading; heading = "" }
' "$out/all" | sort -u > "$out/sections"

names=$(sed -n '/global:/,/local:/p' "$src/cmake/libanvil.map" |
  sed 's,/\*.*\*/,,g; s/global://; s/local://' | tr ';' '\n' | tr -d ' \t' | grep -v '^$')
echo "$names" > "$out/names"
awk -v dir="$out/man3" '
  FNR == NR { have[$0] = 1; next }
  {
    split("NAME SYNOPSIS DESCRIPTION RETURN_VALUE ERRORS", want, " ")
    for (i = 1; i <= 5; i++) {
      section = want[i]
      sub(/_/, " ", section)
      if (!have[$0 ":" section]) { print $0 ": no " section " (or no page)"; bad = 1 }
    }
  }
  END { exit bad }
' "$out/sections" "$out/names" || status=1

# And as a reader would open one.
first=$(echo "$names" | head -n 1)
MANWIDTH=80 man -l "$out/man3/$first.3" | grep -q "$first(" || {
  echo "man -l does not show $first"
  status=1
}
[ $status -eq 0 ] && echo "$(echo "$names" | wc -l) functions, each with a page that renders"
exit $status
