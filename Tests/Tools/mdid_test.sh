#!/bin/sh
# Tests the program from outside: what it prints where, and its exit codes.
#     mdid_test.sh MDID EXAMPLES_DIR
set -u

# shellcheck source=harness.sh
. "$(dirname "$0")/harness.sh"
parser=
cleanup() {
    if [ -n "$parser" ]; then kill "$parser" 2>/dev/null; fi
    rm -rf "$work"
}
trap cleanup EXIT
last() { tail -n 1 "$1"; }
# hex BYTES: octal escapes would be hard to read.
hex() { for byte in $*; do printf "\\$(printf %o "0x$byte")"; done; }
header() { hex 4d 54 68 64 00 00 00 06 "$@"; }
track() { hex 4d 54 72 6b "$@"; }

# Wrong usage: 2, nothing on standard output.
for arguments in '' info dump parse nonsense 'dump a b' 'dump --format xml a' 'dump --encoding nonsense a' \
    'dump --language ../de a' 'parse --block 0' 'parse --block 32768' 'parse --block x' 'info --nonsense a'; do
    # shellcheck disable=SC2086 # words
    case $arguments in
    parse) continue ;;
    *) run 2 $arguments </dev/null ;;
    esac
    is "standard output of mdid $arguments" "$(lines out)" 0
done

# Help: 0, with an example.
for command in '' info dump parse; do
    # shellcheck disable=SC2086 # none or one
    run 0 $command --help
    grep -q '^Example: ' out || fail "no example in the help of mdid $command"
done

# Bad input: 1, and one line that names the file.
printf 'no MIDI file' >bad.mid
: >empty.mid
mkdir folder
for arguments in 'info missing.mid' 'info bad.mid' 'info empty.mid' 'info folder' 'dump missing.mid' 'dump bad.mid' \
    'dump folder' 'parse missing.mid' 'parse folder'; do
    # shellcheck disable=SC2086 # words
    run 1 $arguments
    is "lines on standard error of mdid $arguments" "$(lines err)" 1
    grep -q "^mdid: ${arguments#* }: " err || fail "mdid $arguments does not name the file"
done
run 1 info "$(printf 'a\033[31m\233.mid')"
is "an escaped name" "$(cut -d: -f2 err)" ' a\x1b[31m\x9b.mid'

# The place and the language of a failure.
run 1 dump bad.mid
is "the text of a failure" "$(cat err)" "mdid: bad.mid: byte 4: bad header type encountered"
run 1 dump --language de bad.mid
is "the German text" "$(cat err)" "mdid: bad.mid: byte 4: Ungültiger Header-Typ vorgefunden"
run 1 dump --language xx bad.mid
is "a language without texts" "$(cat err)" "mdid: bad.mid: byte 4: bad header type encountered"
run 1 dump --language de --format json bad.mid
is "the German text in JSON" "$(last out)" '{"error":"Ungültiger Header-Typ vorgefunden"}'

# A file that ends too early.
head -c 300 "$song" >cut.mid
run 1 dump --format json cut.mid
is "the last lines" "$(tail -n 2 out | tr '\n' ' ')" '{"cb":"AbortMapPass"} {"error":"end of stream"} '
is "lines on standard error" "$(lines err)" 1
run 0 dump --format json "$song"
is "the last line" "$(last out)" '{"cb":"Complete"}'
mv out whole
for name in - /dev/stdin; do
    "$mdid" dump --format json "$name" <"$song" >out 2>err || fail "dump $name"
    cmp -s out whole || fail "dump $name differs from dump FILE"
    # shellcheck disable=SC2002 # a pipe is the point
    cat "$song" | "$mdid" dump --format json "$name" >out 2>err || fail "pipe to dump $name"
    cmp -s out whole || fail "dump $name of a pipe differs from dump FILE"
done

# Channels, markers and encodings: Ü in UTF-8, in Windows-1252, and read as Greek; a note on channel 10.
{
    header 00 00 00 01 00 60
    track 00 00 00 1c 00 ff 06 01 4d 00 ff 03 02 c3 9c 00 ff 03 01 dc 00 99 3c 40 10 99 3c 00 00 ff 2f 00
} >options.mid
texts() { sed -n 's/.*"RxTrackName","text":"\(.*\)"}/\1/p' out | tr '\n' ' '; }
note() { sed -n '/RxMidiEvent/{s/.*\("channel.*\)}/\1/p;q;}' out; }
run 0 dump --format json options.mid
is "texts as they are" "$(texts)" 'Ü Ü '
is "a note" "$(note)" '"channel":0,"statusChannel":9,"bytes":"90 3c 40"'
is "markers" "$(grep -c RxMarker out)" 0
run 0 dump --format json --encoding ISO-8859-7 --allow-mpe --markers options.mid
is "Greek texts" "$(texts)" "$(printf 'Γ\302\234 ά ')"
is "a note on its channel" "$(note)" '"channel":9,"statusChannel":9,"bytes":"99 3c 40"'
is "markers" "$(grep -c '"RxMarker","time":0,"text":"M"' out)" 1

# Folders, patterns, and one bad file among good ones.
cp "$song" folder/b.mid
cp "$song" folder/a.mid
cp bad.mid folder/aa.MID
cp "$song" folder/ignored.txt
for name in folder 'folder/*.[Mm][Ii][Dd]'; do
    run 1 info --json "$name"
    is "files of $name" "$(sed 's/{"file":"\([^"]*\)","\([a-z]*\)".*/\1 \2/' out | tr '\n' ' ')" \
        'folder/a.mid format folder/aa.MID error folder/b.mid format '
    is "lines on standard error" "$(lines err)" 1
done
run 1 info folder/a.mid bad.mid folder/b.mid
is "files of a list" "$(grep -v '^ ' out | tr '\n' ' ')" 'folder/a.mid folder/b.mid '

# Raw bytes, in blocks of any size: the same.
hex f8 90 3c 40 3e fe 00 f0 7e f8 01 f7 c5 07 b3 7b 00 f2 01 02 f3 05 f6 f1 21 12 f4 34 e0 00 40 >bytes
run 0 parse bytes
is "messages" "$(lines out)" 13
is "the second message" "$(sed -n 2p out)" \
    '{"op":"ParseNoteOn","bytes":"90 3c 40","event":{"type":1,"channel":0,"bytes":"90 3c 40","text":"NoteOn(60, 64)"}}'
mv out whole
for block in 1 2 3 5 32767; do
    run 0 parse --block $block bytes
    cmp -s out whole || fail "parse --block $block differs"
done
run 0 parse <bytes
cmp -s out whole || fail "parse of standard input differs"

# An endless pipe: a line is there as soon as its message is, though the writer says no more and does not close.
mkfifo pipe
"$mdid" parse pipe >live 2>err &
parser=$!
exec 3>pipe
# await COUNT: bounded, and no longer than needed.
await() {
    tries=0
    while [ "$(lines live)" -lt "$1" ] && [ $tries -lt 100 ]; do
        sleep 0.1
        tries=$((tries + 1))
    done
    is "lines after $2" "$(lines live)" "$1"
}
hex 90 3c 40 >&3
await 1 'a message'
hex 3e >&3
hex 40 f8 >&3
await 3 'two pieces'
exec 3>&-
wait "$parser" || fail "the end of the pipe is no error"
parser=

# Standard output that nobody reads any more, or that takes nothing more.
# More than a pipe holds: the signal ends the program in silence, or a message stands where the signal is ignored.
{ "$mdid" dump --format json "$song" 2>err; echo $? >code; } | head -n 1 >out
is "the first line" "$(cat out)" '{"cb":"SetFormat","format":1}'
[ "$(lines err)" -le 1 ] || fail "more than one message about a broken pipe"
[ "$(cat code)" -ne 0 ] || fail "a broken pipe passes for success"
if [ -c /dev/full ]; then
    for arguments in "info $song missing.mid" "dump $song" "parse bytes"; do
        : >out
        # shellcheck disable=SC2086 # words
        "$mdid" $arguments >/dev/full 2>err
        is "exit code of mdid $arguments on a full disk" $? 1
        is "its message" "$(cat err)" 'mdid: standard output: No space left on device'
    done
fi

finish
