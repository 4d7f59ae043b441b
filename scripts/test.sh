#!/usr/bin/env bash
# Builds everything and runs the whole test suite.
# QZ62_PRESETS chooses the presets (default: all three: the plain build, then
# AddressSanitizer+UndefinedBehaviorSanitizer, then ThreadSanitizer).
set -euo pipefail
source "$(dirname "$0")/prepare.sh"
for preset in ${QZ62_PRESETS:-dev sanitize tsan}; do
  echo "== preset $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
