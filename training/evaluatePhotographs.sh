#!/bin/sh
# Measures the networks in MODELS on photographs of hands that no guidance placed: the limits of
# light, sharpness, size and place are opened wide.
# usage: training/evaluatePhotographs.sh PHOTOGRAPHS [INDEX.csv]
# GOALS may hold --usable-goal PERCENT and --error-goal PERCENT.
set -eu

cd "$(dirname "$0")/.."
BUILD=${BUILD:-build/release}
MODELS=${MODELS:-models}
CONFIG=${CONFIG:-config/brairu.json}
WORK=${WORK:-build/eval/photographs}
photographs=$1
index=${2:-}

open() {
    sed -e "s#\"models/#\"$MODELS/#" \
        -e "s#\"data/#\"$WORK/#" \
        -e 's#\("[a-z]*_offset_tolerance"\): [0-9.]*#\1: -0.5#' \
        -e 's#\("hand_size_width_min"\): [0-9.]*#\1: 0.05#' \
        -e 's#\("brightness_threshold_min"\): [0-9]*#\1: 10#' \
        -e 's#\("brightness_threshold_max"\): [0-9]*#\1: 250#' \
        -e 's#\("brightness_range_threshold"\): [0-9]*#\1: 250#' \
        -e 's#\("blur_threshold"\): [0-9.]*#\1: 1.0#' \
        "$CONFIG"
}

cmake/installPackages.sh python3-opencv python3-numpy
mkdir -p "$WORK"
rm -f "$WORK"/palms.*
open > "$WORK/config.json"
"$BUILD/brairu-measure-photographs" "$WORK/config.json" "$photographs" "$WORK/captures" \
    > "$WORK/log" 2>&1 || {
    tail -n 5 "$WORK/log" >&2
    exit 1
}
/usr/bin/python3 training/evaluatePhotographs.py "$WORK/captures" ${index:+--people "$index"} \
    --sheet "$photographs" "$WORK/sheet.png" ${GOALS:-}
