# shellcheck shell=sh disable=SC2034 # used where this is read
# What the tests of an installed library share. They are called as
#   TEST.sh SOURCE_FOLDER BUILD_FOLDER C_COMPILER [COMPILER_FLAG...]
source=$1
build=$2
compiler=$3
shift 3
flags=$*
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$*" >&2
    exit 1
}

# Installs what a program is built against, and moves it: nothing in it may hold its first place.
install_and_move() {
    for component in library platform development; do
        cmake --install "$build" --prefix "$work/first" --component $component > /dev/null
    done
    mv "$work/first" "$work/installed"
    prefix=$work/installed
    libraries=$(dirname "$(find "$prefix" -name libbrairu.so)")
}

# draw PERSON: 24 captures of one palm as pictures, in the folder of that name.
draw_palms() {
    "$build/brairu-palms" "$work/raw" --people 2 --captures 24 --seed 5 --format raw > /dev/null
    for person in 0 1; do
        mkdir -p "$work/palm$person/enrolment" "$work/palm$person/probes"
        for capture in $(seq 0 23); do
            folder=$([ "$capture" -lt 20 ] && echo enrolment || echo probes)
            { printf 'P5\n640 480\n255\n'; cat "$work/raw/${person}L_$capture.raw"; } > \
                "$work/palm$person/$folder/$(printf %02d "$capture").pgm"
        done
    done
    mkdir "$work/dark" "$work/deep"
    { printf 'P5\n640 480\n65535\n'; head -c 614400 /dev/zero; } > "$work/deep/0.pgm"
    { printf 'P5\n640 480\n255\n'; head -c 307200 /dev/zero; } > "$work/dark/0.pgm"
}

write_config() {
    sed "s|\"models/|\"$source/models/|; s|\"data/|\"$work/|" "$source/config/brairu.json" \
        > "$work/brairu.json"
}

# expect STATUS LINE COMMAND...: the command ends so, and says so.
expect() {
    status=$1
    line=$2
    shift 2
    ended=0
    "$@" > "$work/output" 2> "$work/log" || ended=$?
    if [ "$ended" -ne "$status" ] || ! cat "$work/output" "$work/log" | grep -qx "door: $line"; then
        cat "$work/output" "$work/log"
        fail "expected status $status and \"$line\", got status $ended: $*"
    fi
}

# serves DOOR...: enrols a palm, opens for it and for no other, and tells what is wrong.
serves() {
    draw_palms
    write_config
    expect 0 "enrolled" "$@" "$work/brairu.json" enrol 7 1 "$work/palm0/enrolment"
    expect 0 "open for user 7, palm 1" "$@" "$work/brairu.json" watch "$work/palm0/probes"
    expect 1 "not recognised" "$@" "$work/brairu.json" watch "$work/palm1/probes"
    if grep -q "open for" "$work/output"; then
        fail "opened for a stranger"
    fi
    expect 1 "no hand" "$@" "$work/brairu.json" watch "$work/dark"
    expect 1 "not enrolled, this palm already is" \
        "$@" "$work/brairu.json" enrol 8 0 "$work/palm0/enrolment"
    expect 1 "not enrolled, too few captures" \
        "$@" "$work/brairu.json" enrol 8 0 "$work/palm1/probes"
    expect 2 "$work/deep/0.pgm: no PGM with a maximum value of 255" \
        "$@" "$work/brairu.json" watch "$work/deep"
    for name in "anna left" "7 left" "7 1x" "9223372036854775808 0" "7 2147483648"; do
        # shellcheck disable=SC2086 # a user and a palm
        expect 2 "USER and PALM are whole numbers" \
            "$@" "$work/brairu.json" enrol $name "$work/palm1/enrolment"
    done
}
