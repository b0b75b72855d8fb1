#!/usr/bin/env bash
# Installs every Debian package the workbench needs to build, run and test.
# Idempotent: packages already present are left alone. Uses sudo only when not root.
set -euo pipefail

PACKAGES=(
  build-essential cmake ninja-build pkg-config git ccache
  qt6-base-dev libgl-dev
  libsqlite3-dev libproj-dev proj-data libgdal-dev libeigen3-dev
  libboost-dev
  mdbtools-dev libglib2.0-dev libcairo2-dev mdbtools
  libgtest-dev libgmock-dev libbenchmark-dev
  fonts-noto-cjk qt6-translations-l10n
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all packages present"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
