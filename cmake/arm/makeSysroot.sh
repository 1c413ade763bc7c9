#!/usr/bin/env bash
# Makes build/arm/sysroot-<architecture>: the headers and libraries of a Debian architecture (armhf
# or arm64) to build against and to run on under qemu-user. It stays until the list of packages
# changes, and takes its place in one step, so that an interrupted run leaves no half of one.
set -euo pipefail
cd "$(dirname "$0")/../.."

architecture=$1
case $architecture in
    armhf) triplet=arm-linux-gnueabihf ;;
    arm64) triplet=aarch64-linux-gnu ;;
    *) echo "usage: $0 armhf|arm64" >&2; exit 2 ;;
esac

packages="libc6-dev libstdc++-12-dev
    libopencv-core-dev libopencv-imgproc-dev libopencv-dnn-dev
    libeigen3-dev nlohmann-json3-dev libsqlite3-dev libsodium-dev libgtest-dev libgmock-dev"

sysroot=build/arm/sysroot-$architecture
half=$sysroot.half
settings=$PWD/$sysroot.apt
stamp=$sysroot/made-from

# Where this machine itself gets Debian from, without the security archive: development packages
# and the libraries they name must be of one state.
debian_sources() {
    # shellcheck disable=SC2016 # the names are apt's
    apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) main' 'Created-By: Packages' \
        'Origin: Debian' 'Label: Debian' 'Component: main' | sort -u
}

unpack_packages() {
    apt-config dump | sed -nE '/^Acquire::(http|https|Check-|Retries)/p' > "$settings"
    # shellcheck disable=SC2086 # one word per package
    debian_sources | mmdebstrap --quiet --mode=chrootless --variant=extract \
        --architectures="$architecture" --aptopt="$settings" \
        --include="$(echo $packages | tr ' ' ,)" \
        "$(. /etc/os-release && echo "$VERSION_CODENAME")" - - |
        tar -x --no-same-owner -C "$half" --exclude='./dev/*'
    rm "$settings"
}

keep_what_is_built_against() {
    (cd "$half" && rm -rf bin boot dev etc home media mnt opt proc root run sbin srv sys tmp var \
        usr/bin usr/sbin usr/games usr/local usr/src usr/share/doc usr/share/locale \
        usr/share/man usr/share/info usr/share/i18n usr/share/perl*)
}

# Links from the root would lead out of the sysroot.
make_links_relative() {
    find "$half" -type l -lname '/*' | while read -r link; do
        target=$(realpath -ms --relative-to="$(dirname "$link")" "$half$(readlink "$link")")
        ln -sfn "$target" "$link"
    done
}

# What the packages' own scripts would choose among alternatives.
link_linear_algebra() {
    ln -sf blas/libblas.so.3 "$half/usr/lib/$triplet/libblas.so.3"
    ln -sf lapack/liblapack.so.3 "$half/usr/lib/$triplet/liblapack.so.3"
}

made_from() {
    cat cmake/arm/makeSysroot.sh
    debian_sources
}

if [ -f "$stamp" ] && made_from | cmp -s - "$stamp"; then
    exit 0
fi
if [ -z "$(debian_sources)" ]; then
    echo "$0: apt knows no Debian archive; apt-get update may help" >&2
    exit 1
fi
echo "making $sysroot"
rm -rf "$half"
mkdir -p "$half"
unpack_packages
keep_what_is_built_against
make_links_relative
link_linear_algebra
made_from > "$half/made-from"
rm -rf "$sysroot"
mv "$half" "$sysroot"
