#!/usr/bin/env bash
# Builds the fuzz preset and runs every parser fuzz target in turn.
#   scripts/fuzz.sh [SECONDS] [TARGET...]
# SECONDS per target (default 300); TARGETs by short name (framing, replies,
# ...; default all). One fuzzer runs at a time (the machine is shared).
# New corpus entries go to $QZ62_FUZZ_DIR/corpus/<target> (default
# build/fuzz-runs, outside the repository's files); inputs that crash, leak or
# time out go to $QZ62_FUZZ_DIR/crashes/<target>/. Copy one into
# fuzz/regressions/<target>/ once it is fixed, so the tests replay it.
# Exits 1 when any target found something.
set -euo pipefail
source "$(dirname "$0")/prepare.sh"
seconds="${1:-300}"
shift || true
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

runs="${QZ62_FUZZ_DIR:-$PWD/build/fuzz-runs}"
targets=("$@")
if ((${#targets[@]} == 0)); then
  for f in fuzz/fuzz_*.cpp; do t="$(basename "$f" .cpp)"; targets+=("${t#fuzz_}"); done
fi

found=0
summary="$(printf '%-10s %10s %12s %8s %8s  %s' target exec/s executions cov features result)"
for t in "${targets[@]}"; do
  mkdir -p "$runs/corpus/$t" "$runs/crashes/$t"
  log="$runs/$t.log"
  args=(-max_total_time="$seconds" -artifact_prefix="$runs/crashes/$t/" -print_final_stats=1
        -timeout=10 -rss_limit_mb=2048)
  [[ -f "fuzz/dict/$t.dict" ]] && args+=(-dict="fuzz/dict/$t.dict")
  echo "== fuzz_$t for ${seconds}s (log $log)"
  result=ok
  if ! build/fuzz/fuzz/"fuzz_$t" "${args[@]}" "$runs/corpus/$t" "fuzz/corpus/$t" \
       "fuzz/regressions/$t" >"$log" 2>&1; then
    result="FOUND: $(ls -t "$runs/crashes/$t" | head -1)"
    found=1
  fi
  last="$(grep -E '^#[0-9]+' "$log" | tail -1 || true)"
  cov="$(sed -nE 's/.* cov: ([0-9]+).*/\1/p' <<<"$last")"
  ft="$(sed -nE 's/.* ft: ([0-9]+).*/\1/p' <<<"$last")"
  execs="$(sed -nE 's/^stat::number_of_executed_units: ([0-9]+)/\1/p' "$log")"
  rate="$(sed -nE 's/^stat::average_exec_per_sec: +([0-9]+)/\1/p' "$log")"
  summary+=$'\n'"$(printf '%-10s %10s %12s %8s %8s  %s' "$t" "${rate:-?}" "${execs:-?}" \
    "${cov:-?}" "${ft:-?}" "$result")"
  [[ "$result" == ok ]] || tail -40 "$log"
done
echo "$summary"
echo "crashes (if any) under $runs/crashes"
exit "$found"
