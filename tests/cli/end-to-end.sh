#!/usr/bin/env bash
# End to end through the real vantrel.exe in the test run's Wine prefix: seeds
# the traces of scripts/demo/traces.txt for every category the engine has,
# scans, refuses a clean that is not confirmed, cleans through the backup
# service, undoes the clean, and checks every trace after each step (content,
# times, attributes, registry types and data). Exits 77 (skipped) when the
# engine has none of the seeded categories.
#   tests/cli/end-to-end.sh <build>/bin
set -euo pipefail
bin=$(cd "$1" && pwd)
export WINEPREFIX=${VANTREL_WINEPREFIX:-$(dirname "$bin")/wineprefix}
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
source "$(dirname "$0")/../../scripts/demo/seed.sh"
vantrel() { wine "$bin/vantrel.exe" "$@"; }
fail() { echo "FAILED: $*" >&2; exit 1; }

available=$(vantrel categories --json | grep -o '"identifier": "[A-Z_:0-9]*"' | cut -d'"' -f4 || true)
ids=()
for id in $(traced_identifiers); do
    grep -qx "$id" <<<"$available" && ids+=("$id")
done
if [ ${#ids[@]} -eq 0 ]; then
    echo "skipped: the engine has none of the categories traces.txt seeds ($(wc -w <<<"$available") categories)"
    exit 77
fi
echo "categories: ${ids[*]}"

lines=$(traces_for "${ids[@]}")
seed_traces "$lines"
before=$(snapshot_traces "$lines")

scan=$(vantrel scan --json "${ids[@]}") || fail "scan exited with $?"
# One item per file, and one per registry key (an account key holds several values).
expected=$(grep -e '|back|' -e '|gone|' <<<"$lines" | cut -d'|' -f3,4 | sort -u | wc -l)
found=$(grep -o '"found": [0-9]*' <<<"${scan##*\"totals\"}" | head -1 | grep -o '[0-9]*$')
[ "$found" -ge "$expected" ] || fail "the scan found $found items, $expected were seeded"

# Not confirmed: nothing changes, and the exit code says so.
status=0
echo n | vantrel clean >/dev/null 2>&1 || status=$?
[ $status -eq 1 ] || fail "an unconfirmed clean exited with $status"
[ "$(snapshot_traces "$lines")" == "$before" ] || fail "an unconfirmed clean changed traces"

vantrel clean --yes --json >/dev/null || fail "clean exited with $?"
echo "after the clean:"
check_traces cleaned "$lines" "$before" || fail "traces after the clean"

undo=$(vantrel sessions undo last --json) || fail "undo exited with $?"
grep -q '"failed": 0' <<<"$undo" || fail "undo: $undo"
echo "after the undo:"
check_traces undone "$lines" "$before" || fail "traces after the undo"
echo "end to end: ${#ids[@]} categories, $(grep -c . <<<"$lines") traces"
