#!/bin/sh
# Compares "mdid csv" with midicsv, byte for byte.
#     compare_csv_with_midicsv.sh MDID [FILE...]
# Besides the files given: those of Debian's openttd-openmsx. Exit code 77 (skipped) where midicsv is missing.
set -eu

mdid=$1
shift
command -v midicsv >/dev/null || { echo "midicsv is not installed"; exit 77; }
# shellcheck disable=SC2046 # the package has no names with spaces
set -- "$@" $(dpkg -L openttd-openmsx 2>/dev/null | grep '\.mid$')
[ $# -gt 0 ] || { echo "no files"; exit 77; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

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
