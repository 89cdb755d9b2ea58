#!/usr/bin/env bash
# Compares three lists of exported function names and fails on any difference:
#   - the functions the public headers declare (lines starting with KV_API),
#   - the names kvdata.def lists (stdcall decorations like @8 stripped),
#   - the functions the shared library really exports.
# For a Windows DLL it also compares the export table name for name with
# kvdata.def as that architecture must export it (i686: a stdcall entry
# DBA_InitDBA@4 is exported as _DBA_InitDBA@4; x86_64: undecorated), and
# checks that the DLL imports nothing but Windows system DLLs.
# usage: check_exports.sh LIBRARY HEADER_DIR DEF_FILE
set -euo pipefail
lib=$1 headers=$2 def=$3
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

grep -h '^KV_API' "$headers"/*.h | sed -E 's/\(.*//' | awk '{print $NF}' | sed 's/^\*//' | sort -u >"$tmp/declared"
sed -n '/^EXPORTS/,$p' "$def" | sed -e 's/;.*//' -e 's/^[[:space:]]*//' -e 's/[[:space:]].*//' \
  | grep -v -e '^EXPORTS$' -e '^$' | sed -E -e 's/^_//' -e 's/@[0-9]+$//' | sort -u >"$tmp/def"
if [[ "$lib" == *.dll ]]; then
  objdump -p "$lib" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | awk '/^[[:space:]]*\[ *[0-9]+\]/ {print $NF}' \
    | sed -E -e 's/^_//' -e 's/@[0-9]+$//' | sort -u >"$tmp/exported"
else
  nm -D --defined-only "$lib" | awk 'NF >= 3 {print $3}' | sort -u >"$tmp/exported"  # every kind: code, data, unique objects
fi

status=0
exact_dll_names() {
  local format
  format=$(objdump -f "$lib" | sed -n 's/.*file format //p')
  local def_names
  def_names=$(sed -n '/^EXPORTS/,$p' "$def" | sed -e 's/;.*//' -e 's/^[[:space:]]*//' -e 's/[[:space:]].*//' \
    | grep -v -e '^EXPORTS$' -e '^$')
  case "$format" in
    pei-i386) echo "$def_names" | sed -E 's/^([A-Za-z_][A-Za-z0-9_]*@[0-9]+)$/_\1/' ;;
    *) echo "$def_names" | sed -E 's/@[0-9]+$//' ;;
  esac | sort -u >"$tmp/def_exact"
  objdump -p "$lib" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | awk '/^[[:space:]]*\[ *[0-9]+\]/ {print $NF}' \
    | sort -u >"$tmp/exported_exact"
  objdump -p "$lib" | sed -n 's/^[[:space:]]*DLL Name: //p' | tr 'A-Z' 'a-z' | sort -u >"$tmp/imports"
  grep -v -E '^(kernel32|user32|gdi32|advapi32|shell32|ole32|ntdll|msvcrt|ucrtbase|ws2_32)\.dll$|^api-ms-win-' \
    "$tmp/imports" >"$tmp/foreign_imports" || true
}

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
if [[ "$lib" == *.dll ]]; then
  exact_dll_names
  report "listed in kvdata.def but not in the DLL's export table under this name" def_exact exported_exact
  report "in the DLL's export table but not in kvdata.def under this name" exported_exact def_exact
  if [ -s "$tmp/foreign_imports" ]; then
    echo "imports DLLs that are not part of Windows:"
    sed 's/^/  /' "$tmp/foreign_imports"
    status=1
  fi
fi
if [ $status -eq 0 ]; then
  echo "exports: $(wc -l <"$tmp/declared") names agree (headers, kvdata.def, $(basename "$lib"))"
fi
exit $status
