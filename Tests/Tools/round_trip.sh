#!/bin/sh
# Imports MIDI files, exports them again, and compares both with each other as midicsv reads them.
#     round_trip.sh MDID [FILE...]
# Without files: those of Debian's openttd-openmsx.
set -eu

# shellcheck source=midi_files.sh
. "$(dirname "$0")/midi_files.sh"

# What has to come back, a line each: by track and channel the notes (start, pitch, velocity, end, off velocity), and
# in their order the values of each lane, the parameter-number controllers, and the programs with the bank in force;
# the system-exclusive messages of each track; and of the whole file tempo, meter, key and markers.
#
# Not told, because an import counts and names them instead: channel mode messages, note-offs without a note, banks
# that no program follows, escapes, other meta events, all but the last tempo of a tick, texts behind a NUL.
normalised() {
    midicsv "$1" | awk -F', ' '
        function in_order(kind, rest) { printf "%s #%08d %s\n", kind, ++count[kind], rest }
        function lane(name, value) { in_order(name " " $1 " " $4, $2 " " value) }
        function note(key, end, off, start) {
            start = starts[key, firsts[key]]
            if (end == start) end = start + 1
            print "note", key, start, velocities[key, firsts[key]++], end, off
        }
        function note_on(key) {
            if (!(key in firsts)) { firsts[key] = 0; nexts[key] = 0 }
            starts[key, nexts[key]] = $2
            velocities[key, nexts[key]++] = $6
        }
        function note_off(key, off) { if (firsts[key] + 0 < nexts[key] + 0) note(key, $2, off) }
        function sysex(  i) {
            for (i = 5; i <= NF; ++i) body = body " " $i
            if (body ~ / 247$/) { in_order("sysex " $1, began body); pending = 0 }
        }
        function is_parameter(number) { return number == 6 || number == 38 || (number >= 96 && number <= 101) }

        $3 == "Note_on_c" && $6 > 0 { note_on($1 " " $4 " " $5) }
        $3 == "Note_on_c" && $6 == 0 { note_off($1 " " $4 " " $5, 64) }
        $3 == "Note_off_c" { note_off($1 " " $4 " " $5, $6) }
        $3 == "Poly_aftertouch_c" { lane("pressure of " $5, $6) }
        $3 == "Channel_aftertouch_c" { lane("pressure", $5) }
        $3 == "Pitch_bend_c" { lane("bend", $5) }
        $3 == "Control_c" && ($5 == 0 || $5 == 32) { banks[$1, $4, $5] = $6; next }
        $3 == "Control_c" && is_parameter($5) { lane("parameter", $5 " " $6); next }
        $3 == "Control_c" && $5 < 120 { lane("controller " $5, $6) }
        $3 == "Program_c" { lane("program", $5 " bank " banks[$1, $4, 0] " " banks[$1, $4, 32]) }
        $3 == "System_exclusive" { pending = 1; began = $2; body = ""; sysex() }
        $3 == "System_exclusive_packet" && pending { sysex() }
        $3 == "Tempo" { tempos[$2 + 0] = $4 }
        $3 == "Time_signature" || $3 == "Key_signature" || $3 == "Marker_t" {
            line = $2 " " $3; for (i = 4; i <= NF; ++i) line = line " " $i
            if (sub(/\\000.*/, "", line)) line = line "\""
            print line
        }
        $3 == "End_track" {
            for (key in nexts)
                while (firsts[key] < nexts[key]) note(key, $2, 64)
            pending = 0
        }
        END { for (tick in tempos) print "tempo", tick, tempos[tick] }' | sort
}

failed=0
lines=0
for file in "$@"; do
    rm -rf "$work/session"
    if ! "$mdid" import "$file" -o "$work/session" >"$work/said" 2>&1 ||
        ! "$mdid" export "$work/session" -o "$work/out.mid" >>"$work/said" 2>&1; then
        echo "$file: fails"
        cat "$work/said"
        failed=1
        continue
    fi
    normalised "$file" >"$work/before"
    normalised "$work/out.mid" >"$work/after"
    lines=$((lines + $(wc -l <"$work/before")))
    [ -s "$work/before" ] || { echo "$file: midicsv finds nothing"; failed=1; }
    if ! diff "$work/before" "$work/after" >"$work/diff"; then
        echo "$file: differs (< before, > after)"
        head -n 10 "$work/diff"
        cat "$work/said"
        failed=1
    fi
done
echo "$# files compared, $lines lines"
exit $failed
