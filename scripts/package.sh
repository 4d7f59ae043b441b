#!/usr/bin/env bash
# Builds the Debian package of the programs from the release preset (only
# what the package holds, through the shared compiler cache):
#   scripts/package.sh           build/release/package/qz62_<version>_<arch>.deb
#   scripts/package.sh --check   then checks it (tests/package/check.sh)
set -euo pipefail
source "$(dirname "$0")/prepare.sh"
cmake --preset release >/dev/null
cmake --build --preset package
rm -rf build/release/package
if ! cpack --preset release >build/release/cpack.log 2>&1; then
  cat build/release/cpack.log
  exit 1
fi
deb="$(echo build/release/package/*.deb)"
echo "== package $deb"
if [[ "${1:-}" == --check ]]; then
  tests/package/check.sh "$deb"
fi
