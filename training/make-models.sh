#!/bin/sh
# Renders palms, trains the three networks, exports and packs them into models/, and measures them.
# The three train side by side, one thread each. What was done is kept: a run that was broken off
# is taken up where it stood.
set -eu

cd "$(dirname "$0")/.."
BUILD=${BUILD:-build/release}
WORK=${WORK:-build/training}
POSE_STEPS=${POSE_STEPS:-14000}
PALM_STEPS=${PALM_STEPS:-8000}
PEOPLE=${PEOPLE:-5000}
FRAMES=${FRAMES:-80000}
MEASURED=${MEASURED:-200}
PYTHON=/usr/bin/python3

# The Python that trains: that of the path where its PyTorch sees a GPU, else Debian's.
seesGpu() {
    python3 -c 'import cv2, numpy, sys, torch; sys.exit(not torch.cuda.is_available())' 2> /dev/null
}
TRAINER=${TRAINER:-$(seesGpu && command -v python3 || echo "$PYTHON")}

export OMP_WAIT_POLICY=PASSIVE GOMP_SPINCOUNT=0

# Starts a program beside others; what it makes is kept as NAME, with its words in NAME.log and, once
# it is whole, its arguments in NAME.done.
begin() {
    name=$1
    program=$2
    shift 2
    if [ -e "$WORK/$name.done" ]; then
        [ "$(cat "$WORK/$name.done")" = "$*" ] && return
        echo "$WORK has $name made with other arguments: $(cat "$WORK/$name.done")" >&2
        exit 1
    fi
    echo "$*" > "$WORK/$name.begun"
    echo "$name: progress in $WORK/$name.log"
    "$program" "$@" >> "$WORK/$name.log" 2>&1 &
    running="$running $name:$!"
}

# Waits for all that was begun, and keeps each that has ended as it ends.
finish() {
    while [ -n "$running" ]; do
        sleep 2
        begun=$running
        running=
        for job in $begun; do
            if kill -0 "${job#*:}" 2> /dev/null; then
                running="$running $job"
            else
                conclude "${job%:*}" "${job#*:}"
            fi
        done
    done
}

conclude() {
    wait "$2" || {
        tail -n 5 "$WORK/$1.log" >&2
        running=$begun
        exit 1
    }
    mv "$WORK/$1.begun" "$WORK/$1.done"
    echo "$1: $(tail -n 1 "$WORK/$1.log")"
}

render() {
    name=$1
    kind=$2
    shift 2
    begin "$name" "$BUILD/brairu-training-set" "$kind" "$WORK/$name" "$@"
}

train() {
    name=$1
    script=$2
    data=$3
    shift 3
    begin "$name" "$TRAINER" "training/$script" "$WORK/$data" "$WORK/$data-held" \
        "$WORK/$name.npz" "$@"
}

pack() {
    kind=$1
    name=$2
    $PYTHON training/exportModel.py "$kind" "$WORK/$name.npz" "$WORK/$name"
    for part in net blobs; do
        "$BUILD/brairu-models" pack "$WORK/$name.$part" "models/$name.$part"
    done
}

# What was begun ends with the script.
running=
trap 'for job in $running; do kill "${job#*:}" 2> /dev/null || true; done' EXIT
trap 'exit 130' HUP INT TERM

cmake/installPackages.sh python3-torch python3-onnx python3-opencv python3-numpy \
    libopenblas0-pthread
mkdir -p "$WORK" models

render poses poses "$FRAMES" 2001
render palms palms "$PEOPLE" 6 2002 mixed
finish
render poses-held poses 4000 77001
render palms-held palms 200 6 77002 mixed
finish

train handpose trainPose.py poses --seed 1 --steps "$POSE_STEPS"
train support trainPalm.py palms --images regions --seed 2 --steps "$PALM_STEPS"
train feature trainPalm.py palms --images whole --seed 3 --steps "$PALM_STEPS"
finish

pack pose handpose
pack palm support
pack palm feature
(cd models && sha256sum -- *.net *.blobs > SHA256SUMS)

"$BUILD/brairu" --config config/brairu.json eval --rendered "$MEASURED" --handless 3000 --seed 900001 \
    --scenario hard --report "$WORK/report"
