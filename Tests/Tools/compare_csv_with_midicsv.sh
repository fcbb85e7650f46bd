#!/bin/sh
# Compares "mdid csv" with midicsv, byte for byte.
#     compare_csv_with_midicsv.sh MDID [FILE...]
# Without files: those of Debian's openttd-openmsx.
set -eu

# shellcheck source=midi_files.sh
. "$(dirname "$0")/midi_files.sh"

failed=0
for file in "$@"; do
    midicsv "$file" >"$work/midicsv"
    "$mdid" csv "$file" >"$work/mdid" || failed=1
    [ -s "$work/midicsv" ] || { echo "$file: midicsv finds nothing"; failed=1; }
    if ! cmp -s "$work/midicsv" "$work/mdid"; then
        echo "$file: differs (< midicsv, > mdid)"
        diff -a "$work/midicsv" "$work/mdid" | head -n 5
        failed=1
    fi
done
echo "$# files compared"
exit $failed
