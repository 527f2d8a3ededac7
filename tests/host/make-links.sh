#!/usr/bin/env bash
# Symbolic links the way a Unix user makes them inside the prefix's drive C:
# in the spooler's queue folder, a link back to that folder (a loop) and a
# link to a folder outside it that holds a file that must survive cleaning.
set -euo pipefail
drive=$1/drive_c
outside=$drive/vt_links_outside
spool=$drive/windows/system32/spool/PRINTERS
mkdir -p "$outside" "$spool/vt_links"
printf 'precious' > "$outside/precious.doc"
ln -sfn "$spool" "$spool/vt_links/loop"
ln -sfn "$outside" "$spool/vt_links/outside"
echo "links ready in $spool/vt_links"
