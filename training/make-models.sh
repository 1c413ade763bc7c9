#!/bin/sh
# Renders palms, trains the three networks, exports and packs them into models/, and measures them.
# Two networks train side by side, one thread each. What was done is kept: a run that was broken off
# is taken up where it stood.
set -eu

cd "$(dirname "$0")/.."
BUILD=${BUILD:-build/release}
WORK=${WORK:-build/training}
POSE_STEPS=${POSE_STEPS:-10000}
PALM_STEPS=${PALM_STEPS:-6000}
PEOPLE=${PEOPLE:-3000}
FRAMES=${FRAMES:-40000}
PYTHON=/usr/bin/python3

export OMP_WAIT_POLICY=PASSIVE GOMP_SPINCOUNT=0

render() {
    name=$1
    shift
    [ -e "$WORK/$name.done" ] && return
    kind=$1
    shift
    echo "rendering $name"
    "$BUILD/brairu-training-set" "$kind" "$WORK/$name" "$@" > "$WORK/$name.log"
    touch "$WORK/$name.done"
}

train() {
    name=$1
    script=$2
    shift 2
    [ -e "$WORK/$name.done" ] && return
    echo "training $name, progress in $WORK/$name.log"
    $PYTHON "training/$script" "$@" >> "$WORK/$name.log" 2>&1
    touch "$WORK/$name.done"
    tail -n 1 "$WORK/$name.log"
}

train_palms() {
    train support trainPalm.py "$WORK/palms" "$WORK/palms-held" "$WORK/support.npz" \
        --images regions --seed 2 --steps "$PALM_STEPS"
    train feature trainPalm.py "$WORK/palms" "$WORK/palms-held" "$WORK/feature.npz" \
        --images whole --seed 3 --steps "$PALM_STEPS"
}

pack() {
    kind=$1
    name=$2
    $PYTHON training/exportModel.py "$kind" "$WORK/$name.npz" "$WORK/$name"
    for part in net blobs; do
        "$BUILD/brairu-models" pack "$WORK/$name.$part" "models/$name.$part"
    done
}

# What still runs in the background, each job a process group, ends with the script.
set -m
background=
trap '[ -z "$background" ] || kill -- "$background" 2> /dev/null || true' EXIT
trap 'exit 130' INT TERM

cmake/installPackages.sh python3-torch python3-onnx python3-opencv python3-numpy \
    libopenblas0-pthread
mkdir -p "$WORK" models

render poses poses "$FRAMES" 2001 &
poses=$!
background=-$poses
render palms palms "$PEOPLE" 6 2002 mixed
wait $poses
background=
render poses-held poses 4000 77001
render palms-held palms 200 6 77002 mixed

train_palms &
palms=$!
background=-$palms
train handpose trainPose.py "$WORK/poses" "$WORK/poses-held" "$WORK/handpose.npz" --seed 1 \
    --steps "$POSE_STEPS"
wait $palms
background=

pack pose handpose
pack palm support
pack palm feature

training/evaluate.sh
