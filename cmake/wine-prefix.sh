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
# Links to a folder made from the Unix side, which Wine shows as reparse
# points (CreateSymbolicLinkW creates nothing there, and a link to a file
# looks like the file); the removal tests delete them and check that the
# folder and its file stay.
links="$prefix/drive_c/vantrel-links"
mkdir -p "$links/folder"
printf 'inside' >"$links/folder/inside.txt"
for n in 1 2 3 4; do
  ln -s folder "$links/folder-link$n"
done
echo "wine prefix ready: $prefix"
