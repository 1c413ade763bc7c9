#!/usr/bin/env bash
# Installs this machine's packages in a clean Debian 12 and does there what they are for: looks at
# the set-up, enrols, recognises, refuses, builds a program against the library, moves the store to a
# second clean root, and follows the guides that the packages bring. As root; takes minutes.
#
# For armhf or arm64, which has no such root here: asks apt whether Debian has all that they depend
# on, and runs the conformance check of the unpacked packages under an emulator.
set -euo pipefail
cd "$(dirname "$0")/../.."

native=$(dpkg --print-architecture)
architecture=${1:-$native}
built=$PWD/build/package/$architecture
trial=$PWD/build/package/trial
here=$trial/here
there=$trial/there
documents=usr/share/doc/brairu

fail() {
    echo "package test: $*" >&2
    [ ! -s "$trial/output" ] || cat "$trial/output" >&2
    exit 1
}

# Runs a command in a root, with its own /proc.
in_root() {
    # shellcheck disable=SC2016 # the inner shell's words
    unshare --mount sh -c 'mount -t proc proc "$0/proc" && exec chroot "$0" "$@"' "$@"
}

# expect STATUS PATTERN ROOT COMMAND...: the command ends so, and a line of it fits.
expect() {
    local status=$1 pattern=$2 ended=0
    shift 2
    in_root "$@" > "$trial/output" 2>&1 < /dev/null || ended=$?
    [ "$ended" -eq "$status" ] || fail "status $ended, not $status: $*"
    if [ -n "$pattern" ]; then
        grep -qE -- "$pattern" "$trial/output" || fail "no line like \"$pattern\": $*"
    fi
    echo "ok  ${*:2}: $(grep -m 1 -E -- "$pattern" "$trial/output")"
}

# A line of what the last command printed fits.
printed() {
    grep -qE -- "$1" "$trial/output" || fail "no line like \"$1\""
    echo "    $(grep -m 1 -E -- "$1" "$trial/output")"
}

make_root() {
    apt-config dump | sed -nE '/^Acquire::(http|https|Check-|Retries)/p' > "$trial/apt.conf"
    # shellcheck disable=SC2016 # the names are apt's
    apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) main' 'Created-By: Packages' \
        'Origin: Debian' 'Component: main' | sort -u > "$trial/sources"
    mmdebstrap --quiet --variant=minbase --aptopt="$trial/apt.conf" \
        bookworm "$here" - < "$trial/sources"
    cp "$trial/apt.conf" "$here/etc/apt/apt.conf.d/80trial"
    cp /etc/resolv.conf /etc/hosts "$here/etc/"
    mkdir "$here/packages"
    cp "$built"/*.deb "$here/packages/"
}

install_packages() {
    in_root "$here" sh -c 'apt-get update -qq &&
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@"' sh \
        "$@" > "$trial/output" 2>&1 || fail "apt-get install $*"
    echo "ok  apt-get install $*"
}

draw_palms() {
    "$built/brairu-palms" "$trial/frames" --people 2 --captures 24 --seed 5 > /dev/null
    mkdir -p "$here/frames/enrolment"
    cp "$trial"/frames/0L_?.png "$trial"/frames/0L_1?.png "$here/frames/enrolment/"
    cp "$trial/frames/0L_20.png" "$here/frames/known.png"
    cp "$trial/frames/1L_20.png" "$here/frames/stranger.png"
    { printf 'P5\n640 480\n255\n'; head -c 307200 /dev/zero; } > "$here/frames/dark.pgm"
    mkdir "$here/frames/camera"
    ffmpeg -nostdin -loglevel error -pattern_type glob -i "$trial/frames/0L_*.png" -pix_fmt gray \
        "$here/frames/camera/%02d.pgm"
    ffmpeg -nostdin -loglevel error -pattern_type glob -i "$trial/frames/0L_2?.png" -c:v mjpeg \
        -q:v 2 "$here/frames/known.avi"
}

uses_the_tool() {
    expect 0 "^in order: 0 faults, 0 warnings" "$here" brairu doctor
    expect 0 "^25 of 25 operations" "$here" brairu-conformance
    expect 0 "^700 root$" "$here" stat -c "%a %U" /var/lib/brairu
    expect 0 "" "$here" sh -c 'cd /usr/share && test -s man/man1/brairu.1.gz &&
        test -s man/man1/brairu-conformance.1.gz && test -s doc/brairu/docs/quickStart.md'
    expect 0 "^user 7, palm 0 is enrolled" "$here" brairu enrol --user 7 --palm 0 /frames/enrolment
    expect 0 "user 7, palm 0, similarity" "$here" brairu identify /frames/known.png
    expect 1 "not recognised: no enrolled palm" "$here" brairu identify /frames/stranger.png
    expect 1 "refused, no hand was found" "$here" brairu detect /frames/dark.pgm
    expect 0 "" "$here" brairu palms render /frames/hard --people 2 --captures 6 --seed 5 \
        --scenario hard --size 320x240
    expect 1 "sharpness of the palm [0-9.]+, needs at least 12 +<- not met" "$here" \
        brairu detect /frames/hard/1L_4.png
    expect 1 "top margin [0-9]+ % .*, needs more than 10 % +<- not met" "$here" \
        brairu detect /frames/hard/1R_1.png
    expect 2 "^brairu: /dev/video99 is not there" "$here" brairu watch 99
    expect 2 "the program ffmpeg, which reads videos, is not there" "$here" \
        brairu identify /frames/known.avi
    expect 0 "^in order: 0 faults, 0 warnings" "$here" brairu doctor
}

moves_the_store() {
    expect 0 "^1 palm in" "$here" brairu db backup /frames/palms.backup
    expect 0 "^1 palm in" "$here" brairu db export /frames/palms.export
    expect 1 "nobody is enrolled" "$there" brairu identify /frames/known.png
    cp "$here/frames/palms.export" "$there/frames/"
    expect 0 "^1 palm added" "$there" brairu db import /frames/palms.export
    expect 0 "user 7, palm 0, similarity" "$there" brairu identify /frames/known.png
    cp "$here/frames/palms.backup" "$there/var/lib/brairu/palms.db"
    rm "$there/var/lib/brairu/palms.bin"
    expect 0 "user 7, palm 0, similarity" "$there" brairu identify /frames/known.png
}

reads_videos() {
    install_packages ffmpeg
    expect 0 "known.avi #1\): user 7, palm 0, similarity" "$here" brairu identify /frames/known.avi
}

serves_a_host() {
    cp "$here/usr/share/doc/libbrairu-dev/examples"/*.[ch] "$here/frames/"
    # shellcheck disable=SC2016 # the inner shell's words
    expect 0 "" "$here" sh -c 'cd /frames && cc -std=c11 -Wall -Werror door.c frames.c \
        $(pkg-config --cflags --libs brairu) -o door && install door /usr/local/bin/'
    expect 1 "^door: no hand$" "$here" sh -c 'mkdir /frames/pictures && cd /frames &&
        cp dark.pgm pictures/ && ./door /etc/brairu/brairu.json watch pictures'
}

explains_itself() {
    python3 -B tests/docs/commands/links.py "$here/$documents" > "$trial/output" 2>&1 ||
        fail "links of the documents"
    echo "ok  $(cat "$trial/output")"
}

# commands_of GUIDE [SECTIONS [BUT_THESE]]: its commands, or those under headings that fit. Where a
# clone has others, those for packages stand in blocks without a language.
commands_of() {
    awk -v sections="${2:-.}" -v others="${3:-^$}" '
        /^#/ && !inside { clone = /clone/; wanted = $0 ~ sections && $0 !~ others }
        /^```/ { inside = !inside; taken = wanted && (/^```$/ || /^```sh$/ && !clone); next }
        inside && taken' "$here/$documents/docs/$1"
}

# follow ROOT PATTERN FOLDER: runs the commands on standard input there. As the true one, this sudo
# keeps no variables.
follow() {
    {
        # shellcheck disable=SC2016 # the inner shell's words
        echo 'set -eu; sudo() { env -u BRAIRU_CONFIG "$@"; }'
        echo 'export DEBIAN_FRONTEND=noninteractive HOME=/root'
        echo "mkdir -p $3; cd $3"
        cat
    } > "$1/commands.sh"
    [ "$(wc -l < "$1/commands.sh")" -gt 3 ] || fail "the guide has no such commands"
    expect 0 "$2" "$1" sh /commands.sh
}

follows_the_quick_start() {
    commands_of quickStart.md |
        follow "$here" "^door: open for user 9, palm 0" /packages
    printed "identification +auth_threshold = filter_threshold = 0\.[0-9]+"
    printed "block 0 similarity .*, needs more than 0\.75$"
    printed "^frame 1 \(frames/0L_23\.png\): user 7, palm 0, similarity"
}

looks_after_a_store() {
    commands_of upgradeAndBackup.md . "From a clone|A new version" |
        follow "$here" "^2 palms added, 0 replaced" /root
    printed "^in order: 0 faults"
    printed "^user 7, palm 1: row 1; 2 templates"
    mkdir -p "$there/root/upkeep"
    cp "$here/root/upkeep/palms.export" "$there/root/upkeep/"
    commands_of upgradeAndBackup.md "From the packages|Palms to work on|On the other board" |
        follow "$there" "^2 palms added, 0 replaced" /root
    printed "user 7, palm 0, similarity"
}

upgrades() {
    commands_of upgradeAndBackup.md "A new version" |
        follow "$here" "^the same networks$" /packages
    printed "^1 palm in /root/before-upgrade.backup"
    printed "^in order: 0 faults, 0 warnings"
}

makes_a_service() {
    commands_of deployment.md "A user of its own|A backup every night" |
        follow "$here" "^in order: 0 faults, 0 warnings" /root
    expect 0 "^700 door$" "$here" stat -c "%a %U" /var/lib/door
    expect 0 "^600 door$" "$here" stat -c "%a %U" /var/lib/door/brairu.json
    has_a_sound_unit
    enrols_at_a_camera
}

# systemd finds nothing to say about the unit of the guide.
has_a_sound_unit() {
    awk '/^```/ { inside = /^```ini$/ && !seen++; next } inside' \
        "$here/$documents/docs/deployment.md" > "$here/etc/systemd/system/door.service"
    grep -q "^ExecStart=/usr/local/bin/door" "$here/etc/systemd/system/door.service" ||
        fail "the guide has no unit"
    expect 0 "^silent$" "$here" sh -c \
        'systemd-analyze verify /etc/systemd/system/door.service && echo silent'
    [ "$(wc -l < "$trial/output")" -eq 1 ] || fail "systemd complains about the unit"
}

# The commands at the camera, with a stand-in for it that shows the frames of an enrolment.
enrols_at_a_camera() {
    cp tests/package/camera*.c "$here/frames/"
    expect 0 "" "$here" sh -c 'cd /frames && cc -shared -fPIC cameraDouble.c cameraPreload.c \
        frames.c -ldl -o /usr/local/lib/camera.so && chmod -R a+rX /frames'
    {
        echo 'systemctl() { :; }; export LD_PRELOAD=/usr/local/lib/camera.so'
        echo 'export CAMERA_PICTURES=/frames/camera CAMERA_FORMAT=GREY CAMERA_BURST=1'
        commands_of deployment.md "Enrol at the camera" | sed 's|/dev/video0|/dev/double|'
    } | follow "$here" "^user 9, palm 0 is enrolled" /root
    printed "recognised: user 9, palm 0"
}

# A store that may be wanted is left by a removal, not by a purge.
goes_when_told() {
    expect 0 "" "$here" dpkg --remove brairu
    [ -s "$here/var/lib/brairu/palms.db" ] || fail "a removal took the store away"
    expect 0 "" "$here" dpkg --purge brairu
    for folder in /var/lib/brairu /etc/brairu /usr/share/brairu; do
        [ ! -e "$here$folder" ] || fail "a purge left $folder"
    done
    echo "ok  removed and purged"
}

can_be_installed() {
    APT_CONFIG=$PWD/build/package/debian-$architecture/apt.conf apt-get install --simulate \
        --no-install-recommends "$built"/*.deb > "$trial/output" 2>&1 || fail "Debian lacks something"
    echo "ok  apt-get install: $(grep -c '^Inst ' "$trial/output") packages"
}

# try_emulated EMULATOR CPU
try_emulated() {
    local libraries
    for package in "$built"/*.deb; do
        dpkg-deb --extract "$package" "$trial/root"
    done
    libraries=$(dirname "$trial"/root/usr/lib/*/libbrairu.so.0)
    sed "s|\"/usr/share|\"$trial/root/usr/share|" "$trial/root/etc/brairu/brairu.json" \
        > "$trial/brairu.json"
    "$1" -L "build/arm/sysroot-$architecture" -cpu "$2" -E LD_LIBRARY_PATH="$libraries" \
        "$trial/root/usr/bin/brairu-conformance" --config "$trial/brairu.json" \
        --answers "$trial/root/usr/share/brairu/answers" > "$trial/output" 2>&1 ||
        fail "brairu-conformance"
    echo "ok  brairu-conformance: $(tail -1 "$trial/output")"
}

try_abroad() {
    cmake/installPackages.sh qemu-user
    can_be_installed
    case $architecture in
        armhf) try_emulated qemu-arm cortex-a7 ;;
        arm64) try_emulated qemu-aarch64 cortex-a53 ;;
    esac
}

try_here() {
    [ "$(id -u)" -eq 0 ] || fail "this makes a root of a file system: run it as root"
    cmake/installPackages.sh mmdebstrap
    make_root
    # shellcheck disable=SC2046 # one word per package
    install_packages $(cd "$built" && printf '/packages/%s\n' brairu_*.deb libbrairu[0-9]*.deb \
        libbrairu-platform*.deb)
    draw_palms
    cp -a "$here" "$there"
    uses_the_tool
    moves_the_store
    install_packages "/packages/$(cd "$built" && ls libbrairu-dev_*.deb)" gcc libc6-dev pkg-config
    serves_a_host
    reads_videos
    explains_itself
    follows_the_quick_start
    looks_after_a_store
    upgrades
    install_packages systemd
    makes_a_service
    goes_when_told
}

ls "$built"/*.deb > /dev/null || fail "make package comes first"
rm -rf "$trial"
mkdir -p "$trial"
if [ "$architecture" = "$native" ]; then
    try_here
else
    try_abroad
fi
rm -rf "$trial"
echo "package test: ok"
