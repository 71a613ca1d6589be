#!/usr/bin/env bash
# Runs an installed command as a user does, so that it loads all that it loads on demand:
#
#   command.sh PROGRAM VERSION PHOTOGRAPHS RESULTS
set -euo pipefail

program=$1 version=$2 photographs=$3 results=$4

"$program" --version | grep -x "tiomipra $version"
"$program" calibrate --corners 9x6 --square 1 --output "$results/rig" \
    --left "$photographs/left[01]*.jpg" --right "$photographs/right[01]*.jpg"
"$program" depth --calibration "$results/rig" --max-depth 20 --output "$results/depth" \
    --left "$photographs/left01.jpg" --right "$photographs/right01.jpg"
"$program" rectify --calibration "$results/rig" --output "$results/video" \
    --left "$photographs/tree.avi" --right "$photographs/tree.avi"
test -s "$results/depth/left01.ply"
test -s "$results/video/tree_000067_left.png"
