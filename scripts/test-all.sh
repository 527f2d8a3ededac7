#!/usr/bin/env bash
# Sets up the machine, builds every preset and runs every test:
#   native      portable core under ASan + UBSan
#   native-tsan portable core under ThreadSanitizer
#   win64       DLL, tools and all tests under Wine (throwaway prefix)
#   win32       DLL and tools; export table checked
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/bootstrap.sh

jobs=$(nproc)
status=0
for preset in native native-tsan win64 win32; do
  echo "=== $preset ==="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  if ! ctest --preset "$preset" -j "$jobs"; then
    status=1
  fi
done
if [ $status -ne 0 ]; then
  echo "some tests failed"
fi
exit $status
