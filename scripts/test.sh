#!/usr/bin/env bash
# Checks the formatting, builds everything and runs the whole test suite, then
# builds the Debian package and checks it.
# QZ62_PRESETS chooses the steps (default: all four: the plain build, then
# AddressSanitizer+UndefinedBehaviorSanitizer, then ThreadSanitizer, then
# "package": scripts/package.sh --check on the release preset).
set -euo pipefail
source "$(dirname "$0")/prepare.sh"

# Every C++ source of the project is formatted as .clang-format says; any
# difference fails the run before anything is built.
echo "== clang-format"
git ls-files -z -- 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp' 'bench/*.h' 'fuzz/*.cpp' 'fuzz/*.h' |
  xargs -0 clang-format-14 --dry-run --Werror

for preset in ${QZ62_PRESETS:-dev sanitize tsan package}; do
  if [[ "$preset" == package ]]; then
    started=$SECONDS
    scripts/package.sh --check
    echo "== package step: $((SECONDS - started)) s"
    continue
  fi
  echo "== preset $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
