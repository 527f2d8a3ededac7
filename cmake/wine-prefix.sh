#!/usr/bin/env bash
# Creates a fresh Wine prefix at $1 (deleting an old one): one per test run.
set -euo pipefail
prefix=$1
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
[ -d "$prefix" ] && WINEPREFIX=$prefix wineserver -k >/dev/null 2>&1 || true
rm -rf "$prefix"
mkdir -p "$prefix"
WINEPREFIX=$prefix wineboot -i >/dev/null 2>&1
WINEPREFIX=$prefix wineserver -w
test -f "$prefix/system.reg"
echo "wine prefix ready: $prefix"
