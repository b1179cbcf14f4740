#!/usr/bin/env bash
# Runs every fuzz_* program of a fuzz build for SECONDS each, one after the
# other, on its seed corpus under tests/fuzz/corpus/<family> (read first, so
# every kept regression input runs again) plus a scratch corpus of its own.
# Usage: run-fuzzers.sh BUILD_DIR SECONDS [FAMILY...]
# FUZZ_SEED=N fixes libFuzzer's random seed, so that a short run repeats the
# same inputs (make test uses 1); unset or 0, every run draws its own.
# Exits non-zero on the first crash, leak, timeout or broken invariant, with
# the failing input left under BUILD_DIR/fuzz-work/artifacts/.
set -euo pipefail
build=$1 seconds=$2
shift 2
root=$(cd "$(dirname "$0")/.." && pwd)
work=$build/fuzz-work
mkdir -p "$work/artifacts"
if [[ $# -gt 0 ]]; then
  families=("$@")
else
  families=()
  for exe in "$build"/fuzz_*; do [[ -x $exe ]] && families+=("${exe##*/fuzz_}"); done
fi
[[ ${#families[@]} -gt 0 ]] || { echo "run-fuzzers: no fuzz_* programs in $build" >&2; exit 1; }
for family in "${families[@]}"; do
  seeds=$root/tests/fuzz/corpus/$family
  mkdir -p "$work/$family" "$seeds"
  echo "== fuzz_$family: ${seconds}s"
  # One OpenMP thread: the machine is shared, and results must not depend on
  # the thread count anyway. A single input over 20 s (on a busy machine) counts as a hang.
  OMP_NUM_THREADS=1 "$build/fuzz_$family" -seed="${FUZZ_SEED:-0}" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=3000 -len_control=0 \
    -print_final_stats=1 -artifact_prefix="$work/artifacts/$family-" "$work/$family" "$seeds" \
    >"$work/$family.log" 2>&1 || { tail -n 40 "$work/$family.log"; echo "fuzz_$family failed" >&2; exit 1; }
  grep -E '^stat::number_of_executed_units|^Done' "$work/$family.log" | tr '\n' ' '
  echo
done
