#!/usr/bin/env bash
# Builds the application and starts it on the simulated unit.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/qz62-ccache}"
export CCACHE_BASEDIR="$PWD"
cmake --preset dev >/dev/null
cmake --build --preset dev --target qz62 qz62-sim qz62ctl
exec build/dev/src/app/qz62 --simulator "$@"
