#!/usr/bin/env bash
# Builds everything and runs the whole test suite.
# QZ62_PRESETS chooses the presets (default: all three: the plain build, then
# AddressSanitizer+UndefinedBehaviorSanitizer, then ThreadSanitizer).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/qz62-ccache}"
export CCACHE_BASEDIR="$PWD"
export CCACHE_MAXSIZE="${CCACHE_MAXSIZE:-2G}"
for preset in ${QZ62_PRESETS:-dev sanitize tsan}; do
  echo "== preset $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
