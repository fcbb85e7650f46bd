#!/bin/sh
# Installs what the build and the tests need on Debian 12 and is not there yet. Asks for nothing when all of it is.
set -eu

# libjack-jackd2-dev: librtmidi-dev alone would bring the other JACK, and remove this one where it is in use.
packages="
    g++ cmake make ninja-build pkg-config
    libboost-dev libboost-filesystem-dev libboost-locale-dev libpugixml-dev
    libcli11-dev nlohmann-json3-dev libcairo2-dev
    librtmidi-dev libjack-jackd2-dev
    libgtest-dev librapidcheck-dev libbenchmark-dev
    midicsv openttd-openmsx"

# With an argument "ci", the compilers and linters of the continuous integration too.
if [ "${1:-}" = ci ]; then
    packages="$packages clang clang-format clang-tidy libclang-rt-14-dev"
fi

missing=""
for package in $packages; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing="$missing $package"
done
[ -z "$missing" ] && exit 0

echo "installing:$missing"
as_root=""
[ "$(id -u)" -eq 0 ] || as_root=sudo
$as_root apt-get update -qq
# shellcheck disable=SC2086 # one word a package
DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
