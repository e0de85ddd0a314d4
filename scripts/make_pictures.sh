#!/usr/bin/env bash
# Regenerates the README's pictures docs/k1_map.png and docs/voxel_curve.png
# by running the demo with docs/ as its picture folder.
set -u
cd "$(dirname "$0")/.."
KINETRA_PICTURES=$PWD/docs bash scripts/demo.sh >/dev/null || { echo "make_pictures: the demo failed" >&2; exit 1; }
ls -l docs/k1_map.png docs/voxel_curve.png
