#!/bin/sh
# Every exported function in src/exports runs inside the guard of
# src/exports/guard.h (KV_TRY ... KV_CATCH), so that no exception leaves the
# C interface and a failure sets the last error. Lists those that do not.
# Only the last-error functions themselves stay unguarded.
# usage: check_guards.sh EXPORTS_DIR
set -eu
dir=${1:-src/exports}
unguarded=$(awk '
  /^KV_API/ { sig = ""; name = $0; sub(/\(.*/, "", name); n = split(name, w, " "); name = w[n];
              sub(/^\*/, "", name); inside = 1 }
  inside { sig = sig $0 }
  inside && /\{/ { inside = 0
    if (sig !~ /KV_TRY/ && name !~ /^KVHOST_(LastError|LastErrorText|ClearLastError)$/) print FILENAME ": " name }
' "$dir"/*.cpp)
if [ -n "$unguarded" ]; then
  echo "exported functions without KV_TRY/KV_CATCH:"
  echo "$unguarded"
  exit 1
fi
