# Seeding and checking of the traces listed in traces.txt, for a sandbox Wine
# prefix. Sourced by scripts/demo.sh and tests/cli/end-to-end.sh; needs
# WINEPREFIX set (never the user's own prefix) and `wine` on the PATH.
#
#   traces_for IDS...        the lines of traces.txt whose identifier is in IDS
#   seed_traces LINES        writes every file and registry value
#   snapshot_traces LINES    one line per trace: content hash, times, attributes,
#                            or the value's type and data ("absent" when missing)
#   check_traces STAGE LINES BEFORE   compares against the snapshot taken after
#                            seeding; STAGE is "cleaned" or "undone"; prints one
#                            line per trace and returns 1 when one is not as expected

SEED_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
TRACES_FILE=${TRACES_FILE:-$SEED_DIR/traces.txt}

_wine() { WINEDEBUG=-all wine "$@" 2>/dev/null; }

# %PLACEHOLDER% expansion for the prefix's user.
expand_path() {
    local p=$1 user
    user=$(whoami)
    p=${p//%WINDIR%/C:\\windows}
    p=${p//%PROFILE%/C:\\users\\$user}
    p=${p//%APPDATA%/C:\\users\\$user\\AppData\\Roaming}
    p=${p//%LOCALAPPDATA%/C:\\users\\$user\\AppData\\Local}
    p=${p//%TEMP%/C:\\users\\$user\\Temp}
    printf '%s' "$p"
}

# C:\a\b -> $WINEPREFIX/drive_c/a/b. Windows paths ignore case, Unix paths do
# not: each part takes the spelling of an entry already there ("Debug" and
# "debug" are one folder to Windows, and a second spelling made from the Unix
# side would hide the seeded files from Windows programs).
unix_path() {
    local p=$1 dir part match
    p=${p#C:\\}
    dir="$WINEPREFIX/drive_c"
    IFS='\' read -r -a parts <<<"$p"
    for part in "${parts[@]}"; do
        if [ ! -e "$dir/$part" ] && [ -d "$dir" ]; then
            match=$(find "$dir" -mindepth 1 -maxdepth 1 -iname "$part" -print -quit 2>/dev/null)
            [ -n "$match" ] && part=$(basename "$match")
        fi
        dir="$dir/$part"
    done
    printf '%s' "$dir"
}

# Writes the bytes of a generator to stdout: headers as the real files have
# them, then filler.
generate() {
    local kind=$1
    shift
    case $kind in
        minidump)  # MINIDUMP_HEADER: "MDMP", version 0xA793, streams...
            printf 'MDMP\x93\xa7\x00\x00\x0d\x00\x00\x00\x20\x00\x00\x00'
            head -c "$(($1 - 16))" /dev/urandom ;;
        olecf)     # compound file (automaticDestinations-ms): signature, minor 0x3E, major 3, FFFE byte order
            printf '\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1'
            head -c 16 /dev/zero
            printf '\x3e\x00\x03\x00\xfe\xff\x09\x00\x06\x00'
            head -c "$(($1 - 34))" /dev/urandom ;;
        customdest) # customDestinations-ms: format version 2, then categories
            printf '\x02\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00'
            head -c "$(($1 - 12))" /dev/urandom ;;
        jpeg)      # JFIF header, then the image data
            printf '\xff\xd8\xff\xe0\x00\x10JFIF\x00\x01\x01\x00\x00\x48\x00\x48\x00\x00'
            head -c "$(($1 - 22))" /dev/urandom
            printf '\xff\xd9' ;;
        spl)       # EMF spool file: version 0x00010000, header size, then the document name in UTF-16
            printf '\x00\x00\x01\x00\x4c\x00\x00\x00'
            printf '%s' "$*" | iconv -f UTF-8 -t UTF-16LE
            head -c 4096 /dev/urandom ;;
        shd)       # shadow file: signature 0x4968, header size, then the document name in UTF-16
            printf '\x68\x49\x00\x00\xe8\x00\x00\x00'
            printf '%s' "$*" | iconv -f UTF-8 -t UTF-16LE
            head -c 512 /dev/zero ;;
        text)
            printf '%s\r\n' "$*" ;;
        *) echo "seed.sh: unknown generator $kind" >&2; return 1 ;;
    esac
}

traces_for() {
    local ids=" $* " line
    while IFS= read -r line; do
        [[ -z $line || $line == \#* ]] && continue
        [[ $ids == *" ${line%%|*} "* ]] && printf '%s\n' "$line"
    done <"$TRACES_FILE"
}

# The identifiers traces.txt has traces for.
traced_identifiers() {
    grep -v '^#' "$TRACES_FILE" | grep '|' | cut -d'|' -f1 | sort -u
}

seed_traces() {
    local id expect kind a b c d path unix
    while IFS='|' read -r id expect kind a b c d; do
        if [[ $kind == file ]]; then
            path=$(expand_path "$a")
            unix=$(unix_path "$path")
            mkdir -p "$(dirname "$unix")"
            # shellcheck disable=SC2086
            generate $b >"$unix"
            # An older time, as traces have, so that a restored time shows.
            touch -d '2026-10-14 09:26:53' "$unix"
            [[ -n $c ]] && _wine cmd /c attrib "$c" "$path" >/dev/null
        else
            _wine reg add "$a" /v "$b" /t "$c" /d "$d" /f >/dev/null
        fi
    done <<<"$1"
    return 0
}

snapshot_traces() {
    local id expect kind a b c d path unix
    while IFS='|' read -r id expect kind a b c d; do
        if [[ $kind == file ]]; then
            path=$(expand_path "$a")
            unix=$(unix_path "$path")
            if [[ -e $unix ]]; then
                printf '%s|%s|%s\n' "$path" \
                    "$(sha256sum <"$unix" | cut -c1-16) $(stat -c '%s bytes, modified %y' "$unix")" \
                    "$(_wine cmd /c attrib "$path" | tr -d '\r' | cut -c1-10 | tr -s ' ')"
            else
                printf '%s|absent|\n' "$path"
            fi
        else
            local value
            value=$(_wine reg query "$a" /v "$b" | tr -d '\r' | grep -F "    $b    " | sed 's/^ *//')
            printf '%s\\%s|%s|\n' "$a" "$b" "${value:-absent}"
        fi
    done <<<"$1"
}

check_traces() {
    local stage=$1 lines=$2 before=$3 now status=0 i=0
    now=$(snapshot_traces "$lines")
    local -a expects befores nows
    mapfile -t expects < <(cut -d'|' -f2 <<<"$lines")
    mapfile -t befores <<<"$before"
    mapfile -t nows <<<"$now"
    for ((i = 0; i < ${#expects[@]}; i++)); do
        local name=${befores[i]%%|*} want verdict
        case ${expects[i]}/$stage in
            kept/*) want=${befores[i]} ;;
            back/undone) want=${befores[i]} ;;
            *) want="$name|absent|" ;;
        esac
        if [[ ${nows[i]} == "$want" ]]; then verdict=ok; else verdict=WRONG; status=1; fi
        printf '  %-5s %-5s %s\n' "$verdict" "${expects[i]}" "${nows[i]//|/  }"
        [[ $verdict == WRONG ]] && printf '        expected %s\n' "${want//|/  }"
    done
    return $status
}
