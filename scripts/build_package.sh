#!/usr/bin/env bash
# Builds the Octave package kinetra-<version>.tar.gz from the repository:
#   DESCRIPTION, INDEX, COPYING   from package/ (the version is DESCRIPTION's)
#   post_install.m                moves the help file kinetra.m beside kinetra.mex
#   src/                          the toolbox sources, the package Makefile and
#                                 kinetra.m (the help beside kinetra.mex)
#   inst/                         the demos and helpers of examples/
# Usage: bash scripts/build_package.sh [output folder]   (default: the top folder)
set -eu
cd "$(dirname "$0")/.."
top=$PWD
out=${1:-$top}
mkdir -p "$out"
out=$(cd "$out" && pwd)
version=$(sed -n 's/^Version: *//p' package/DESCRIPTION)
[ -n "$version" ] || { echo "build_package: no Version in package/DESCRIPTION" >&2; exit 1; }

stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
pkg=$stage/kinetra-$version
mkdir -p "$pkg/src" "$pkg/inst"
cp package/DESCRIPTION package/INDEX package/post_install.m "$pkg/"
# The licence notice, followed by the licence's full text where the system has it.
cp package/COPYING "$pkg/COPYING"
if [ -f /usr/share/common-licenses/GPL-3 ]; then
    printf '\n\n' >>"$pkg/COPYING"
    cat /usr/share/common-licenses/GPL-3 >>"$pkg/COPYING"
fi
# Sources: src/ without anything built in place.
cp -R src/. "$pkg/src/"
find "$pkg/src" -type f ! -name '*.cpp' ! -name '*.h' -delete
cp package/src/Makefile package/src/kinetra.m "$pkg/src/"
cp examples/*.m "$pkg/inst/"

tar -C "$stage" -czf "$out/kinetra-$version.tar.gz" "kinetra-$version"
echo "$out/kinetra-$version.tar.gz"
