#!/usr/bin/env bash
# Makes the Debian packages of this machine's architecture, or of the one named: armhf or arm64.
# They are in build/package/<architecture>, the same bytes from the same commit.
set -euo pipefail
cd "$(dirname "$0")/../.."
source=$PWD

native=$(dpkg --print-architecture)
architecture=${1:-$native}
case $architecture in
    "$native") triplet= ;;
    armhf) triplet=arm-linux-gnueabihf ;;
    arm64) triplet=aarch64-linux-gnu ;;
    *) echo "usage: $0 [armhf|arm64]" >&2; exit 2 ;;
esac
build=$source/build/package/$architecture
debian=$source/build/package/debian-$architecture
work=$build/debian
version=$(sed -n 's/^project(brairu VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
soversion=${version%%.*}
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
export SOURCE_DATE_EPOCH DEB_HOST_ARCH="$architecture" LC_ALL=C TZ=UTC

library=libbrairu$soversion
platform=libbrairu-platform$soversion
packages="$library $platform libbrairu-dev brairu"
component_of() {
    case $1 in
        "$library") echo library ;;
        "$platform") echo platform ;;
        libbrairu-dev) echo development ;;
        brairu) echo tool ;;
    esac
}

# Which package a program gets for linking the libraries of this one.
shlibs_of() {
    case $1 in
        "$library")
            echo "libbrairu $soversion $library (>= $version)" ;;
        "$platform")
            echo "libbrairu-npu $soversion $platform (>= $version) | libbrairu-platform"
            echo "libbrairu-log $soversion $platform (>= $version) | libbrairu-platform" ;;
    esac
}

# Fortified, g++ 12 takes some insertions into strings for copies onto themselves.
hardening="-fstack-protector-strong -D_FORTIFY_SOURCE=2 -Wno-error=restrict"
hardening+=" -ffile-prefix-map=$source=."
relocations="-Wl,-z,relro,-z,now"
targets="brairu brairu-tool brairu-conformance manual"

build_all() {
    CFLAGS=$hardening CXXFLAGS=$hardening LDFLAGS=$relocations \
        cmake --fresh --preset package -B "$build"
    # brairu-palms draws what the packages are tried on.
    # shellcheck disable=SC2086 # one word per target
    cmake --build "$build" --target $targets brairu-palms
}

# What reads pictures is no part of the sysroot, nor are the libraries that it is made of.
cross_build_all() {
    cmake/installPackages.sh "g++-$triplet" mmdebstrap
    cmake/arm/makeSysroot.sh "$architecture"
    cmake/packaging/borrowFromDebian.sh "$architecture"
    CFLAGS=$hardening CXXFLAGS="$hardening -isystem $debian/libraries/usr/include/opencv4" \
        LDFLAGS="$relocations -Wl,--allow-shlib-undefined" \
        cmake --fresh --preset "package-$architecture" -B "$build" \
        -DOpenCV_imgcodecs_LIBRARY="$debian/libraries/usr/lib/$triplet/libopencv_imgcodecs.so" \
        -DV4L2_INCLUDE_DIR="$debian/libraries/usr/include" \
        -DV4L2_LIBRARY="$debian/libraries/usr/lib/$triplet/libv4l2.so" \
        -DCLI11_DIR="$debian/libraries/usr/share/cmake/CLI11"
    # shellcheck disable=SC2086 # one word per target
    cmake --build "$build" --target $targets
}

# What dpkg's tools want to see beside them.
describe_source() {
    mkdir -p "$work/debian"
    sed "s/@SOVERSION@/$soversion/" cmake/packaging/debian/control.in > "$work/debian/control"
    for package in $packages; do
        shlibs_of "$package"
    done > "$work/debian/shlibs.local"
    cat > "$work/debian/changelog" << END
brairu ($version) unstable; urgency=medium

  * See the history of the repository.

 -- The brairu authors <authors@brairu.invalid>  $(date -R -d "@$SOURCE_DATE_EPOCH")
END
}

add_documents() {
    local documents=$work/$1/usr/share/doc/$1
    mkdir -p "$documents"
    cp cmake/packaging/debian/copyright "$documents/"
    gzip -9n < "$work/debian/changelog" > "$documents/changelog.gz"
    if [ "$1" = libbrairu-dev ]; then
        cp -r examples "$documents/"
    fi
    if [ "$1" = brairu ]; then
        cmake/packaging/copyDocuments.sh "$documents"
    fi
}

# Fills the folder of a package.
stage() {
    mkdir -p "$work/$1/DEBIAN"
    DESTDIR=$work/$1 cmake --install "$build" --strip --component "$(component_of "$1")" > /dev/null
    add_documents "$1"
    find "$work/$1" -path '*/man/*' -type f -exec gzip -9n {} +
    find "$work/$1" -type d -path "$work/$1/?*" ! -path '*/var/lib/brairu' -exec chmod 0755 {} +
    find "$work/$1" -type f -path '*/share/*' ! -name '*.py' -exec chmod 0644 {} +
}

# The directories that hold our own shared libraries.
own_libraries() {
    find "$work"/lib* -name 'lib*.so.*' -printf '-l%h\n' | sort -u
}

programs_of() {
    find "$work/$1" -type f \( -name '*.so.*' -o -path '*/bin/*' \) -printf '%P\n' | sort
}

# The directories of the libraries that are not this machine's, and what is known of them.
foreign_libraries() {
    if [ -n "$triplet" ]; then
        echo "--admindir=$debian/described"
        echo "-l$debian/libraries/usr/lib/$triplet"
        echo "-l$debian/libraries/lib/$triplet"
    fi
}

find_dependencies() {
    local found
    found=$(programs_of "$1" | sed "s|^|$1/|")
    : > "$work/$1.substvars"
    if [ -n "$found" ]; then
        # shellcheck disable=SC2046,SC2086 # one word per folder and per program
        (cd "$work" && dpkg-shlibdeps -x"$1" -T"$1.substvars" $(own_libraries) \
            $(foreign_libraries) $found)
    fi
}

write_control_files() {
    local control=$work/$1/DEBIAN
    (cd "$work" && dpkg-gencontrol -p"$1" -P"$1" -T"$1.substvars" -ffiles)
    case $1 in
        "$library" | "$platform")
            echo "activate-noawait ldconfig" > "$control/triggers"
            shlibs_of "$1" > "$control/shlibs" ;;
        brairu)
            echo /etc/brairu/brairu.json > "$control/conffiles"
            install -m 0755 cmake/packaging/debian/brairu.postrm "$control/postrm" ;;
    esac
    (cd "$work/$1" && find . -type f ! -path './DEBIAN/*' -printf '%P\n' | sort |
        xargs md5sum > DEBIAN/md5sums)
}

pack() {
    find "$work/$1" -exec touch --no-dereference --date "@$SOURCE_DATE_EPOCH" {} +
    dpkg-deb --root-owner-group -Zxz --build "$work/$1" "$build" > /dev/null
}

umask 022
cmake/installPackages.sh dpkg-dev
mkdir -p "$build"
rm -rf "$work" "$build"/*.deb
if [ -z "$triplet" ]; then
    build_all
else
    cross_build_all
fi
describe_source
for package in $packages; do
    stage "$package"
done
for package in $packages; do
    find_dependencies "$package"
    write_control_files "$package"
    pack "$package"
done
ls -l "$build"/*.deb
