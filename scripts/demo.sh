#!/usr/bin/env bash
# Sets up the machine, builds the 64-bit DLL and its host, and runs the host
# under Wine in a throwaway prefix inside the build folder.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/bootstrap.sh
cmake --preset win64 >/dev/null
cmake --build --preset win64 -j "$(nproc)" --target VantrelHelper vantrel-probe
cmake/wine-run.sh build/win64/bin/vantrel-probe.exe
