#!/usr/bin/env bash
# Installs what the project needs to build, run and test, only when missing.
# Debian 12 (apt) or macOS (Homebrew). Fast when everything is present.
set -euo pipefail

debian_packages=(
  build-essential cmake ninja-build ccache pkg-config git
  qt6-base-dev qt6-base-dev-tools libgl-dev
  librtmidi-dev libavahi-compat-libdnssd-dev libqpdf-dev libpoppler-cpp-dev
  libgtest-dev clang-format-14 clang-14 libfuzzer-14-dev libclang-rt-14-dev
  xvfb xauth imagemagick
  python3 python3-mido python3-reportlab python3-cairo fonts-dejavu-core midicsv srecord poppler-utils ghostscript
  jackd2 avahi-daemon dbus iproute2
  dpkg-dev file lintian appstream desktop-file-utils man-db
)

if [[ "$(uname)" == "Darwin" ]]; then
  brew_packages=(cmake ninja ccache pkg-config qt rtmidi qpdf poppler googletest srecord)
  missing=()
  for p in "${brew_packages[@]}"; do brew list --versions "$p" >/dev/null 2>&1 || missing+=("$p"); done
  if ((${#missing[@]})); then brew install "${missing[@]}"; fi
  exit 0
fi

missing=()
for p in "${debian_packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  sudo_cmd=()
  [[ $(id -u) -ne 0 ]] && sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
