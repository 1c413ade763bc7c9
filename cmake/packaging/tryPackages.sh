#!/usr/bin/env bash
# Installs this machine's packages in a clean Debian 12 and does there what they are for: looks at
# the set-up, enrols, recognises, refuses, builds a program against the library, and moves the store
# to a second clean root. As root; takes minutes.
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
}

uses_the_tool() {
    expect 0 "^in order: 0 faults, 0 warnings" "$here" brairu doctor
    expect 0 "^25 of 25 operations" "$here" brairu-conformance
    expect 0 "^700 root$" "$here" stat -c "%a %U" /var/lib/brairu
    expect 0 "" "$here" sh -c 'cd /usr/share && test -s man/man1/brairu.1.gz &&
        test -s man/man1/brairu-conformance.1.gz && test -s doc/brairu/quickStart.md'
    expect 0 "^user 7, palm 0 is enrolled" "$here" brairu enrol --user 7 --palm 0 /frames/enrolment
    expect 0 "user 7, palm 0, similarity" "$here" brairu identify /frames/known.png
    expect 1 "not recognised: no enrolled palm" "$here" brairu identify /frames/stranger.png
    expect 1 "refused, no hand was found" "$here" brairu detect /frames/dark.pgm
    expect 2 "^brairu: /dev/video99 is not there" "$here" brairu watch 99
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

serves_a_host() {
    cp "$here/usr/share/doc/libbrairu-dev/examples"/*.[ch] "$here/frames/"
    # shellcheck disable=SC2016 # the inner shell's words
    expect 0 "" "$here" sh -c 'cd /frames && cc -std=c11 -Wall -Werror door.c frames.c \
        $(pkg-config --cflags --libs brairu) -o door'
    expect 1 "^door: no hand$" "$here" sh -c 'mkdir /frames/pictures && cd /frames &&
        cp dark.pgm pictures/ && ./door /etc/brairu/brairu.json watch pictures'
}

# The commands of the quick start. Where a clone has others, those for packages stand in blocks
# without a language.
write_quick_start() {
    awk '/^#/ && !inside { clone = /clone/ }
        /^```/ { inside = !inside; wanted = /^```$/ || /^```sh$/ && !clone; next }
        inside && wanted' docs/quickStart.md
}

follows_the_quick_start() {
    {
        echo "set -eu; sudo() { \"\$@\"; }; export DEBIAN_FRONTEND=noninteractive HOME=/root"
        echo "cd /packages"
        write_quick_start
    } > "$here/quickStart.sh"
    expect 0 "^door: open for user 9, palm 0" "$here" sh /quickStart.sh
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
    follows_the_quick_start
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
