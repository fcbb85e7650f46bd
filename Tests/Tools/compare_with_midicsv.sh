#!/bin/sh
# Compares what the reader finds in MIDI files with what midicsv finds: per track the channel events with their times,
# and the tempos.
#     compare_with_midicsv.sh MDID [FILE...]
# Without files: those of Debian's openttd-openmsx.
set -eu

# shellcheck source=midi_files.sh
. "$(dirname "$0")/midi_files.sh"

# Lines of both sides: track, time, then status, data and data of the message, or "tempo" and its value.
# A note on with velocity 0 is a note off with velocity 64 to the reader, and goes out as a note on with velocity 0;
# channel mode messages (controllers from 120) are not told.
from_midicsv() {
    midicsv "$1" | awk -F', ' '
        function event(status, data) { print $1, $2, status + $4, data }
        $3 == "Note_on_c"  { event(144, $5 " " $6) }
        $3 == "Note_off_c" { if ($6 == 64) event(144, $5 " 0"); else event(128, $5 " " $6) }
        $3 == "Poly_aftertouch_c"    { event(160, $5 " " $6) }
        $3 == "Control_c" && $5 < 120 { event(176, $5 " " $6) }
        $3 == "Program_c"            { event(192, $5) }
        $3 == "Channel_aftertouch_c" { event(208, $5) }
        $3 == "Pitch_bend_c"         { event(224, $5 % 128 " " int($5 / 128)) }
        $3 == "Tempo" && $1 == 1     { print "tempo", $2, $4 }' | sort
}

from_mdid() {
    "$mdid" dump --format json --allow-mpe "$1" | awk -F'"' '
        function number(name) { match($0, "\"" name "\":[0-9]+"); return substr($0, RSTART + length(name) + 3, RLENGTH - length(name) - 3) }
        function hex(text, value, i) { value = 0; for (i = 1; i <= length(text); ++i) value = value * 16 + index("0123456789abcdef", substr(text, i, 1)) - 1; return value }
        $4 == "BeginTrack" { ++track }
        $4 == "RxTempo" { print "tempo", number("time"), number("usPerQuarter") }
        $4 == "RxMidiEvent" && number("type") + 0 < 9 {
            match($0, "\"bytes\":\"[0-9a-f ]*"); bytes = substr($0, RSTART + 9, RLENGTH - 9)
            n = split(bytes, byte, " "); line = track " " number("time")
            for (i = 1; i <= n; ++i) line = line " " hex(byte[i])
            print line }' | sort
}

failed=0
lines=0
for file in "$@"; do
    from_midicsv "$file" >"$work/midicsv"
    from_mdid "$file" >"$work/mdid"
    lines=$((lines + $(wc -l <"$work/midicsv")))
    [ -s "$work/midicsv" ] || { echo "$file: midicsv finds nothing"; failed=1; }
    if ! diff "$work/midicsv" "$work/mdid" >"$work/diff"; then
        echo "$file: differs (< midicsv, > mdid)"
        head -n 5 "$work/diff"
        failed=1
    fi
done
echo "$# files compared, $lines lines"
exit $failed
