# shellcheck shell=sh disable=SC2034 # variables are for the scripts that source it
# What tests of the program from outside share: sourced, with the path of the program and the folder of the examples as
# arguments. Works in a folder of its own, $work. A script ends with "finish".

mdid=$1
song=$2/Song/canon.mid
unset MDID_LANGUAGE MDID_OPTION_ALLOWMPE
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1

failures=0
fail() {
    echo "FAILED: $*"
    sed 's/^/    out: /' out | head -n 5
    sed 's/^/    err: /' err | head -n 5
    failures=$((failures + 1))
}
# run CODE ARGUMENT...: its output goes to the files out and err.
run() {
    expected=$1
    shift
    "$mdid" "$@" >out 2>err
    code=$?
    [ "$code" -eq "$expected" ] || fail "exit code $code, not $expected: mdid $*"
}
# is WHAT FOUND EXPECTED
is() { [ "$2" = "$3" ] || fail "$1: '$2', not '$3'"; }
lines() { wc -l <"$1" | tr -d ' '; }
finish() {
    [ "$failures" -eq 0 ] && echo "all passed"
    exit $((failures > 0))
}
