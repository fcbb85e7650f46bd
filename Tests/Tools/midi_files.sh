# shellcheck shell=sh disable=SC2034 # variables are for the scripts that source it
# What comparisons with midicsv share: sourced, with the path of the program and files as arguments, which become $mdid
# and the files. Without files: those of Debian's openttd-openmsx. Ends the script with exit code 77 (skipped) where these
# or midicsv are missing. Temporary files go into $work.

mdid=$1
shift
command -v midicsv >/dev/null || { echo "midicsv is not installed"; exit 77; }
if [ $# -eq 0 ]; then
    # shellcheck disable=SC2046 # the package has no names with spaces
    set -- $(dpkg -L openttd-openmsx 2>/dev/null | grep '\.mid$')
fi
[ $# -gt 0 ] || { echo "no files"; exit 77; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
