#!/usr/bin/env bash
# Compares three lists of exported function names and fails on any difference:
#   - the functions the public headers declare (lines starting with KV_API),
#   - the names kvdata.def lists (stdcall decorations like @8 stripped),
#   - the functions the shared library really exports.
# usage: check_exports.sh LIBRARY HEADER_DIR DEF_FILE
set -euo pipefail
lib=$1 headers=$2 def=$3
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

grep -h '^KV_API' "$headers"/*.h | sed -E 's/\(.*//' | awk '{print $NF}' | sed 's/^\*//' | sort -u >"$tmp/declared"
sed -n '/^EXPORTS/,$p' "$def" | sed -e 's/;.*//' -e 's/^[[:space:]]*//' -e 's/[[:space:]].*//' \
  | grep -v -e '^EXPORTS$' -e '^$' | sed -E -e 's/^_//' -e 's/@[0-9]+$//' | sort -u >"$tmp/def"
if [[ "$lib" == *.dll ]]; then
  objdump -p "$lib" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | awk 'NF>=3 {print $NF}' \
    | sed -E -e 's/^_//' -e 's/@[0-9]+$//' | sort -u >"$tmp/exported"
else
  nm -D --defined-only "$lib" | awk '$2 ~ /^[TtWi]$/ {print $3}' | sort -u >"$tmp/exported"
fi

status=0
report() {
  local what=$1 a=$2 b=$3
  local d
  d=$(comm -23 "$tmp/$a" "$tmp/$b")
  if [ -n "$d" ]; then
    echo "$what:"
    echo "$d" | sed 's/^/  /'
    status=1
  fi
}
report "declared in the headers but not exported by the library" declared exported
report "exported by the library but not declared in the headers" exported declared
report "declared in the headers but missing from kvdata.def" declared def
report "listed in kvdata.def but not declared in the headers" def declared
if [ $status -eq 0 ]; then
  echo "exports: $(wc -l <"$tmp/declared") names agree (headers, kvdata.def, $(basename "$lib"))"
fi
exit $status
