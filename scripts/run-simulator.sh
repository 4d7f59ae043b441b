#!/usr/bin/env bash
# Builds the application and starts it on the simulated unit.
set -euo pipefail
source "$(dirname "$0")/prepare.sh"
cmake --preset dev >/dev/null
cmake --build --preset dev --target qz62 qz62-sim qz62ctl
exec build/dev/src/app/qz62 --simulator "$@"
