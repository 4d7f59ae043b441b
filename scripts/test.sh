#!/usr/bin/env bash
# Checks the formatting, builds everything and runs the whole test suite.
# QZ62_PRESETS chooses the presets (default: all three: the plain build, then
# AddressSanitizer+UndefinedBehaviorSanitizer, then ThreadSanitizer).
set -euo pipefail
source "$(dirname "$0")/prepare.sh"

# Every C++ source of the project is formatted as .clang-format says; any
# difference fails the run before anything is built.
echo "== clang-format"
git ls-files -z -- 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp' 'bench/*.h' 'fuzz/*.cpp' 'fuzz/*.h' |
  xargs -0 clang-format-14 --dry-run --Werror

for preset in ${QZ62_PRESETS:-dev sanitize tsan}; do
  echo "== preset $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
