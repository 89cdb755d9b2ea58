#!/bin/sh
# System calls per kvdata operation, for every case of bench_versus_sqlite:
# each case runs twice under `strace -c -f`, once with 0 and once with COUNT
# operations after the same set-up; the difference divided by COUNT is the
# figure. The busiest calls are listed beside it.
#
#   scripts/syscalls.sh [bench program] [count]
set -eu
bench=${1:-build-release/bench/bench_versus_sqlite}
count=${2:-20000}
[ -x "$bench" ] || { echo "no $bench: run 'make bench' first" >&2; exit 1; }
command -v strace >/dev/null || { echo "strace is not installed" >&2; exit 1; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# strace -c summary -> "name calls" lines (errors counted with the calls).
calls() {
  awk '$1 ~ /^[0-9.]+$/ && NF >= 5 && $NF != "total" { print $NF, $4 }' "$1"
}

names="new customer + save with search entries|read a customer (KundenDBA_LeseKunde)|read a customer inside KundenDBA_Open/Close|save a customer with search entries|save a customer inside KundenDBA_Open/Close|walk all customers (per customer)|add a key (BBAUMLIB_BAUMKEYAnlegen)|look up a key (BBAUMLIB_BAUMKEYVorhanden)"
printf '| %-44s | %9s | %s |\n' "work" "calls/op" "of which"
printf '|%s|%s|%s|\n' "----------------------------------------------" "-----------" "------------------------------"
i=1
echo "$names" | tr '|' '\n' | while IFS= read -r name; do
  strace -c -f -o "$tmp/zero" "$bench" --kvdata-only "$i" 0 "$count" >/dev/null
  strace -c -f -o "$tmp/full" "$bench" --kvdata-only "$i" "$count" "$count" >/dev/null
  calls "$tmp/zero" > "$tmp/zero.calls"
  calls "$tmp/full" > "$tmp/full.calls"
  awk -v n="$count" -v name="$name" '
    FNR == NR { zero[$1] = $2; next }
    { d = $2 - zero[$1]; if (d > 0) { per[$1] = d / n; total += d / n } }
    END {
      detail = ""
      for (k in per) if (per[k] >= 0.05) detail = detail sprintf("%s %.2f, ", k, per[k])
      sub(/, $/, "", detail)
      printf "| %-44s | %9.2f | %s |\n", name, total, detail
    }' "$tmp/zero.calls" "$tmp/full.calls"
  i=$((i + 1))
done
