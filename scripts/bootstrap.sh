#!/usr/bin/env bash
# Installs every Debian package the project needs. Idempotent: returns in
# seconds when everything is there already.
set -euo pipefail

packages=(
  cmake ninja-build g++ make
  mingw-w64 g++-mingw-w64-x86-64 g++-mingw-w64-i686
  wine wine64
  googletest
  libcli11-dev nlohmann-json3-dev libfmt-dev
  clang libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "bootstrap: all packages present"
  exit 0
fi

echo "bootstrap: installing ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "bootstrap: done"
