#!/bin/sh
# Kills the program again and again while it saves a session: afterwards the old session is there or the new one, whole.
#     kill_while_saving.sh MDID EXAMPLES_DIR [ROUNDS]
set -u

mdid=$1
song=$2/Song/canon.mid
rounds=${3:-40}
unset MDID_LANGUAGE MDID_OPTION_ALLOWMPE
work=$(mktemp -d)
child=
cleanup() {
    if [ -n "$child" ]; then kill -s KILL "$child" 2>/dev/null; fi
    rm -rf "$work"
}
trap cleanup EXIT
cd "$work" || exit 1

fail() {
    echo "FAILED: $*"
    ls -la session
    exit 1
}

"$mdid" import "$song" -o session >out 2>&1 || { cat out; fail "import"; }

# Some end before they are killed, and some hardly begin.
old=0
new=0
round=0
while [ "$round" -lt "$rounds" ]; do
    round=$((round + 1))
    rm -rf before after
    cp -R session before
    cp -R session after
    semitones=$((round % 2 * 2 - 1)) # up and down in turn
    "$mdid" edit after --transpose "$semitones" >out 2>&1 || { cat out; fail "edit of a copy"; }

    "$mdid" edit session --transpose "$semitones" >/dev/null 2>&1 &
    child=$!
    sleep "0.0$(printf '%02d' $((round * 37 % 100)))"
    kill -s KILL "$child" 2>/dev/null
    wait "$child" 2>/dev/null
    child=

    "$mdid" show --json session >out 2>&1 || { cat out; fail "round $round: show"; }
    if "$mdid" diff session before >/dev/null 2>&1; then
        old=$((old + 1))
    elif "$mdid" diff session after >out 2>&1; then
        new=$((new + 1))
    else
        head -n 5 out
        fail "round $round: neither the old session nor the new one"
    fi
done

# What the killed ones left goes with the next save: a session of as many chunk files as one that was never killed.
"$mdid" import "$song" -o fresh >out 2>&1 || { cat out; fail "second import"; }
"$mdid" edit session --transpose 1 >out 2>&1 || { cat out; fail "last edit"; }
[ "$(find session -type f | wc -l)" -eq "$(find fresh -type f | wc -l)" ] || fail "something is left over"
echo "$rounds kills: $old times the old session, $new times the new one"
