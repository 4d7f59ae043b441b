#!/usr/bin/env bash
# Builds the optimised preset and runs every benchmark, printing its figures.
# IDLE_SECONDS (default 60) sets the idle measurements of the link and panel.
set -euo pipefail
source "$(dirname "$0")/prepare.sh"
cmake --preset release >/dev/null
cmake --build --preset release
idle="${IDLE_SECONDS:-60}"
for b in build/release/bench/bench_*; do
  [[ -f "$b" && -x "$b" ]] || continue
  echo "== $(basename "$b")"
  case "$(basename "$b")" in
    bench_link|bench_panel) QT_QPA_PLATFORM=offscreen "$b" "$idle" ;;
    *) "$b" ;;
  esac
done
