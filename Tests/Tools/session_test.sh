#!/bin/sh
# Tests the commands for sessions from outside, on the song that comes with the sources.
#     session_test.sh MDID EXAMPLES_DIR
set -u

# shellcheck source=harness.sh
. "$(dirname "$0")/harness.sh"
# has LINE: an extended regular expression for a whole line of the output.
has() { grep -Eqx -- "$1" out || fail "no line '$1'"; }

# Help: an example each. Wrong usage: 2 and nothing on standard output, before or after the session is read.
for command in check import show events notes csv dump xml diff export edit clip roll play chase scrub; do
    run 0 $command --help
    grep -q "^Example: mdid $command " out || fail "no example in the help of mdid $command"
    run 2 $command
done
for arguments in "import $song" "import $song -o -" "show $song --track 1" "events $song --from nonsense" \
    "events $song --only notes,lanes" "events $song --track 8" "xml $song --track 0" "diff $song" \
    "export $song -o a.mid --format 2" "export $song -o a.mid --division 0" "edit $song --transpose 2" \
    "edit $song -o a" "edit $song -o - --shift 1t" "edit $song -o a --transpose 1 --shift 1t" "edit $song -o a --copy 1..2" \
    "edit $song -o a --to 2" "edit $song -o a --quantize 0t" "edit $song -o a --erase 5..3" \
    "edit $song -o a --transpose 99" "edit $song -o a --shift -2:0:0" "edit $song -o a --shift 1t --undo" \
    "notes $song" "notes $song --sounding 1 --starting 1..2" "notes $song --starting 2..1" "notes $song --sounding x" \
    "notes $song --sounding 1 --track 8" "clip $song" "clip $song -o a" "clip $song -o a --from 1" \
    "clip $song -o a --from 3 --to 3" "clip $song -o a --from 3 --to x" "clip $song --from 1 --to 2" \
    "clip $song -o - --from 1 --to 2" "clip $song --widen" "clip $song -o a --widen --from 1 --to 2" \
    "roll $song" "roll $song -o a.gif" "roll $song -o png" "roll $song -o a.png --lanes 7,120" "roll $song -o a.png --lanes 7," \
    "roll $song -o a.png --from 3 --to 3" "roll $song -o a.png --track 8" "roll $song -o a.png --width 1" \
    "chase $song --at x" "chase $song --at 1 --track 8" "play $song --from 3 --to 3" "play $song --loop 3..3" \
    "play $song --rounds 2" "play $song --jump 3" "play $song --mute 8" "play $song --format csv" \
    "play $song -o - --format json" "play $song -o x.mid --port y" "scrub $song --path 1,,2" "scrub $song --path 1 --track 8"; do
    # shellcheck disable=SC2086 # words
    run 2 $arguments
    is "lines on standard output of mdid $arguments" "$(lines out)" 0
done
for option in --transpose --shift --quantize --erase --track -o; do
    run 2 edit "$song" $option '' --undo
done
run 2 edit "$song" --copy 1..2 --to '' --undo
run 2 events "$song" --from ''
is "what wrong usage leaves" "$(echo ./*)" './err ./out'

# Bad input: 1, and one line that names the file.
printf 'no MIDI file' >bad.mid
mkdir folder
for command in show events csv xml dump 'export -o x.mid' 'import -o x' 'edit --undo --shift 1t' \
    'notes --sounding 1' 'clip --widen -o x' 'roll -o x.png' play 'chase --at 1' 'scrub --path 1' "diff $song"; do
    for file in missing.mid bad.mid folder; do
        # shellcheck disable=SC2086 # words
        run 1 $command $file
        grep -q "^mdid: $file: " err || fail "mdid $command $file does not name the file"
    done
done
run 1 check "$song" bad.mid
has "$song: not kept as it is: channel prefixes \\(2\\)"
has "$song: complete"
has 'bad.mid: unreadable'
run 0 check --json "$song"
grep -q '"grade":"complete","findings":\[\],"losses":\[{"what":"[^"]*","count":1},' out || fail "check --json"

# There and back: what came out equals what went in, through files, folders and pipes.
run 0 import "$song" -o song.mdid
is "the summary" "$(cat out)" 'song.mdid: 7 tracks, 898 notes, 1278 breakpoints, 3 system-exclusive messages'
run 0 export song.mdid -o out.mid
"$mdid" export song.mdid -o - --division 960 | "$mdid" import - -o piped.mdid >/dev/null 2>err || fail "a pipe"
for copy in song.mdid out.mid; do
    run 0 diff "$song" $copy
    is "differences of $copy" "$(lines out)" 0
done
run 1 diff "$song" piped.mdid # in the division alone
is "differences of another division" "$(lines out)" 2
run 0 export song.mdid -o one.mid --format 0
run 0 info --json one.mid
grep -q '"format":0' out || fail "format 0"

# What is in it. A chunk file is a session too.
run 0 show song.mdid
has '  track 6: "Continuo", channel 5, track 5 of the file'
has '    controller 64 +180  0 to 127 +2:1:030 \.\. 27:4:420'
run 0 show --json song.mdid/*t06.mdchun
grep -q '"notes":{"count":300,"first":960,"last":[0-9]*,"lowestPitch":50,"highestPitch":74,' out || fail "show --json"
run 0 events song.mdid --track 6 --from 2:1:20 --to 2:1:31
has '    6  2:1:020 + 980 +0:01.036 +5  note D4, velocity 48, off velocity 64, duration 420'
is "events in the range, under their titles" "$(lines out)" 3
run 0 events song.mdid --format json
is "all events" "$(lines out)" 2179
run 0 csv "$song"
has '5, 960, Note_on_c, 3, 50, 64'
cat song.mdid/*t06.mdchun | "$mdid" show - | grep -q '^    notes  *300 ' || fail "a chunk from a pipe"
cp -R song.mdid damaged.mdid
cp "$song" damaged.mdid
printf x >damaged.mdid/g000001-t02.mdchun
run 1 check --json damaged.mdid
is "the file that is damaged" "$(sed 's/.*"errorFile"/"errorFile"/' out)" \
    '"errorFile":"damaged.mdid/g000001-t02.mdchun","offset":1}'
run 0 dump song.mdid
is "records of chunks" "$(grep -c '^MdChun version 1, offset 0' out)" 7
run 0 xml song.mdid --track 2
is "chunks in XML" "$(grep -c '<MIDI_Chunk>' out)" 1
has ' *<nNumNotes>210</nNumNotes>'

# Edits are proved reversible, then made: in place, or in another folder. The way back gives the same session.
for edit in '--transpose -2' '--shift 480t' '--quantize 1/16' '--copy 3..5 --to 9' '--erase 3..5 --track 6'; do
    # shellcheck disable=SC2086 # words
    run 0 edit song.mdid $edit --undo
    is "the proof for $edit" "$(sed 1d out | tr '\n' ' ')" 'undone: equal to the original redone: equal to the edited session '
    # shellcheck disable=SC2086 # words
    run 0 edit "$song" $edit -o edited.mdid
    run 1 diff song.mdid edited.mdid
done
run 0 edit song.mdid --shift 0:1:0
run 1 diff "$song" song.mdid
run 0 edit song.mdid --shift -0:1:0
run 0 diff "$song" song.mdid

# A clip, widened in place, has the whole notes that sounded in it.
run 0 clip song.mdid --from 3:2:100 --to 5:1:7 -o clip.mdid
has 'clip 3:2:100..5:1:007: 35 notes, 4 cut at the start, 3 at the end; 863 notes and 1223 events left out'
run 0 show clip.mdid
has '    notes                   5  B4 to F#5, velocity 68 .*, 1 trimmed'
run 0 show --json clip.mdid
grep -q '"highestVelocity":68,"trimmed":1,' out || fail "show --json of a clip"
run 0 notes clip.mdid --starting 1..4 --track 6
has '    6  3:2:100 .* note D4, velocity 48, off velocity 64, duration 340, to 3:2:440, cut at the start by 60'
run 0 clip clip.mdid --widen
has 'widen: 7 notes'
run 0 clip song.mdid --from 27 --to end -o end.mdid # with what stands at the end
run 0 events end.mdid --from 27:4:420 --to end
has '    6  27:4:420 .* controller 64, value 0'
run 0 notes clip.mdid --starting 1..end --format csv
mv out whole
run 0 notes song.mdid --overlapping 3:2:100..5:1:7 --format csv
cmp -s out whole || fail "what a widened clip holds is not what sounded"
run 0 notes song.mdid --sounding 5:1:6 --track 2 --format json
has '.*"pitch":71,"name":"B4","velocity":68,"offVelocity":51,"duration":440,"end":7160,"muted":false}'

# A picture, of each kind.
run 0 roll song.mdid -o roll.svg --from 3 --to 5 --track 2 --lanes 1,bend
run 0 roll song.mdid -o roll.PNG
run 0 roll song.mdid -o roll.pdf
is "the pictures" "$(head -q -c 4 roll.svg roll.PNG roll.pdf | tr -cd '<?xmPNGDF%')" '<?xmPNG%PDF'
run 1 roll song.mdid -o missing/roll.png
grep -q missing/roll.png err || fail "no name of a picture that cannot be written"
run 1 roll song.mdid -o long.png --to 36000sec
is "what is left of a picture that is too long" "$(echo long*)" 'long*'

# Play from the middle: three notes sound there. Rounds and jumps follow one another in a file.
run 0 chase song.mdid --at 557566s --track 6 --format json
has '\{"sample":557566,"us":11615958,"track":6,"channel":4,"why":"chase","bytes":"94 37 34"\}'
is "what is chased" "$(lines out)" 11
run 0 play song.mdid --from 214957s --to 280000s --loop 214957s..240000s --jump 260000s..262000s --mute 2 \
    -o played.mid --format json
is "reasons" "$(sed 's/.*"why":"//; s/".*//' out | sort -u | tr '\n' ' ')" 'chase event noteOff release transition '
is "events of a muted track" "$(grep -c '"track":2,' out)" 0
run 0 csv played.mid
has "7, $((280000 - 214957 + 2 * (240000 - 214957) - 2000)), End_track"
run 0 play song.mdid --from 25 --loop 25..28 --format json
is "rounds of a loop that ends behind everything" "$(grep -c '"why":"event"' out)" $((3 * 180))
run 1 play song.mdid --port 'an output that is not there'
is "lines about a missing output" "$(grep -cE '^mdid: no MIDI (system|output) ' err)" 1
run 0 scrub song.mdid --path 0s,end,0s --format json
is "what is passed on the way there and back" "$(grep -c forward out)" "$(grep -c backward out)"

# Of the bends of a note (at 0, 20, 30 and 50 of 80 ticks) a clip plays the one in force at its start, and those in it.
hex() { for byte in "$@"; do printf "\\$(printf %o "0x$byte")"; done; }
hex 4d 54 68 64 00 00 00 06 00 00 00 01 00 60 4d 54 72 6b 00 00 00 1c 00 e1 64 00 00 91 3c 40 14 e1 48 01 0a e1 2c 02 \
    14 e1 10 03 1e 81 3c 40 00 ff 2f 00 >mpe.mid
run 0 clip --mpe mpe.mid --from 25t --to 50t -o mpe.mdid
run 0 events mpe.mdid --only bends --format csv
is "bends of a note in a clip" "$(sed 1d out | cut -d, -f 2,13,18 | tr '\n' ' ')" '25,-7992,25 30,-7892,25 '
run 0 export mpe.mdid -o mpe-out.mid
run 0 csv mpe-out.mid
is "a clip as a file" "$(grep _c, out | cut -d, -f 2-3,6- | tr '\n' ' ')" \
    ' 25, Pitch_bend_c  25, Note_on_c, 64  30, Pitch_bend_c  50, Note_on_c, 0 '
run 0 clip mpe.mdid --widen -o widened.mdid
run 0 events widened.mdid --mpe
mv out whole
run 0 events mpe.mid --mpe
cmp -s out whole || fail "a widened note has not all of its bends"

finish
