#!/bin/sh
# Every exported function in src/exports runs inside the guard of
# src/exports/guard.h (KV_TRY ... KV_CATCH), so that no exception leaves the
# C interface and a failure sets the last error. Lists those that do not.
# Only the last-error functions themselves stay unguarded.
# Exports written out one by one start a line with KV_API; exports made by a
# generator macro (one definition per family, instantiated per name) are
# checked in the macro's body, each KV_API there up to its opening brace.
# usage: check_guards.sh EXPORTS_DIR
set -eu
dir=${1:-src/exports}
unguarded=$(awk '
  function check(where, text,    n, parts, i, head, name, w, k) {
    n = split(text, parts, /KV_API/)
    for (i = 2; i <= n; i++) {
      head = parts[i]
      if (index(head, "{") > 0) head = substr(head, 1, index(head, "{"))
      name = head; sub(/\(.*/, "", name); k = split(name, w, " "); name = w[k]; sub(/^\*/, "", name)
      if (head !~ /KV_TRY/ && name !~ /^KVHOST_(LastError|LastErrorText|ClearLastError)$/) print where name
    }
  }
  FNR == 1 { inside = 0; macro = 0 }
  macro { body = body $0; if ($0 !~ /\\$/) { macro = 0; if (body ~ /KV_API/) check(FILENAME ": in macro " mname ": ", body) }; next }
  /^#define/ { mname = $2; sub(/\(.*/, "", mname); body = $0; macro = ($0 ~ /\\$/)
               if (!macro && body ~ /KV_API/) check(FILENAME ": in macro " mname ": ", body); next }
  /^KV_API/ { sig = ""; inside = 1 }
  inside { sig = sig $0 }
  inside && /\{/ { inside = 0; check(FILENAME ": ", sig) }
' "$dir"/*.cpp)
if [ -n "$unguarded" ]; then
  echo "exported functions without KV_TRY/KV_CATCH:"
  echo "$unguarded"
  exit 1
fi
