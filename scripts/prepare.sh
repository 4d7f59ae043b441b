# Sourced by the other scripts: move to the project root, install what is
# missing, and share one compiler cache between builds and presets.
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/deps.sh
export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/qz62-ccache}"
export CCACHE_BASEDIR="$PWD"
export CCACHE_MAXSIZE="${CCACHE_MAXSIZE:-2G}"
# Every module compiles against a precompiled header; without these the cache
# refuses such compilations and each build starts from nothing.
export CCACHE_SLOPPINESS="${CCACHE_SLOPPINESS:-pch_defines,time_macros}"
