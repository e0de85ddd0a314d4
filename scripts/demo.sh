#!/usr/bin/env bash
# Builds the Octave module and runs the demo analysis in Octave, which prints
# a table of true and fitted values and writes two pictures into build/:
# k1_map.png (the fitted k1 map beside the true one) and voxel_curve.png
# (another folder with KINETRA_PICTURES=/abs/path).
set -u
cd "$(dirname "$0")/.."
. scripts/setup.sh
kinetra_setup || exit 1
mkdir -p build
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >build.configure.log 2>&1 || { cat build.configure.log; exit 1; }
cmake --build build -j"$(nproc 2>/dev/null || echo 2)" --target kinetra_octave >build.build.log 2>&1 \
    || { tail -n 60 build.build.log; exit 1; }
octave --no-gui --norc --quiet --no-window-system --eval "picture_dir = '${KINETRA_PICTURES:-$PWD/build}'; addpath('$PWD/build'); addpath('$PWD/examples'); kinetra_demo" 2>&1 \
    | grep -v -E 'X11 DISPLAY|disabling GUI features|execution_exception. while preparing to exit'
