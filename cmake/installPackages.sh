#!/bin/sh
# Installs what is missing of the Debian packages that the project builds and tests with.
# Further names on the command line are installed too.
set -eu

wanted="g++ clang cmake make ninja-build pkg-config
    libopencv-core-dev libopencv-imgproc-dev libopencv-dnn-dev libopencv-imgcodecs-dev
    libeigen3-dev nlohmann-json3-dev libsqlite3-dev libsodium-dev
    libcli11-dev libv4l-dev libgtest-dev libgmock-dev binutils ffmpeg groff-base python3 $*"

is_installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo > /dev/null; then
        sudo "$@"
    else
        echo "neither root nor sudo: run as root: apt-get install$missing" >&2
        exit 1
    fi
}

missing=
for package in $wanted; do
    is_installed "$package" || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

echo "installing:$missing"
export DEBIAN_FRONTEND=noninteractive
as_root apt-get update -qq
# shellcheck disable=SC2086 # one word per package
as_root apt-get install -y -qq --no-install-recommends $missing
