#!/usr/bin/env bash
# Runs each fuzz target for FUZZ_SECONDS over its corpus and prints its
# execution count. Usage: run_fuzz.sh <build dir> <target>...
# FUZZ_SEED, when set, fixes libFuzzer's random seed, so that a run from the
# same corpus tries the same inputs in the same order.
# Exit status 1 when any target found a crash, a leak or a time-out.
set -u
build=$1
shift
seconds=${FUZZ_SECONDS:-30}
seed=()
[ -n "${FUZZ_SEED:-}" ] && seed=(-seed="$FUZZ_SEED")
status=0
summary=()
for t in "$@"; do
  corpus="$build/corpus/$t"
  mkdir -p "$corpus"
  log="$build/fuzz-$t.log"
  "$build/fuzz/fuzz_$t" "$corpus" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="$build/crash-$t-" -print_final_stats=1 "${seed[@]}" >"$log" 2>&1
  rc=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  if [ "$rc" -ne 0 ]; then
    status=1
    summary+=("$(printf '%-10s %10s runs  FAILED (see %s)' "$t" "${runs:-?}" "$log")")
    tail -40 "$log"
  else
    summary+=("$(printf '%-10s %10s runs  ok' "$t" "${runs:-?}")")
  fi
done
echo "fuzz targets, ${seconds} s each:"
printf '  %s\n' "${summary[@]}"
exit $status
