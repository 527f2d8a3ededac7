#!/usr/bin/env bash
# Runs a Windows program under Wine in the build folder's own throwaway prefix
# (<build>/wineprefix, next to <build>/bin), never in the user's prefix.
# The prefix is created by cmake/wine-prefix.sh before the tests start.
set -euo pipefail
exe=$1
shift
bindir=$(cd "$(dirname "$exe")" && pwd)
export WINEPREFIX=${VANTREL_WINEPREFIX:-$(dirname "$bindir")/wineprefix}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    "$(dirname "$0")/wine-prefix.sh" "$WINEPREFIX" >/dev/null
fi
exec wine "$exe" "$@"
