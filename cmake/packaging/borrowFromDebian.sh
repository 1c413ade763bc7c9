#!/usr/bin/env bash
# Makes build/package/debian-<architecture>: of Debian for armhf or arm64, what packages for it take
# beyond the sysroot. In libraries/ lie the libraries that the packages will name, and what
# the tool is compiled with; in described/ what dpkg would know of these had it installed them; apt.conf
# lets apt answer for that architecture.
set -euo pipefail
cd "$(dirname "$0")/../.."

architecture=$1
folder=$PWD/build/package/debian-$architecture
libraries=$folder/libraries
described=$folder/described
wanted="libc6 libgcc-s1 libstdc++6 libopencv-core406 libopencv-imgproc406 libopencv-dnn406
    libopencv-imgcodecs406 libopencv-imgcodecs-dev libsqlite3-0 libsodium23 libcli11-dev
    libv4l-0 libv4l-dev"

# apt with a state of its own; where it gets Debian from, it takes from this machine's.
set_up_apt() {
    mkdir -p "$folder/lists/partial" "$folder/cache/archives/partial"
    : > "$folder/status"
    # shellcheck disable=SC2016 # the names are apt's
    apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) main' 'Created-By: Packages' \
        'Origin: Debian' 'Label: Debian' 'Component: main' | sort -u > "$folder/sources.list"
    cat > "$folder/apt.conf" << END
APT::Architecture "$architecture";
APT::Architectures { "$architecture"; };
Dir::State "$folder";
Dir::State::lists "$folder/lists";
Dir::State::status "$folder/status";
Dir::Cache "$folder/cache";
Dir::Etc::sourcelist "$folder/sources.list";
Dir::Etc::sourceparts "-";
END
    APT_CONFIG=$folder/apt.conf apt-get update -qq
}

unpack() {
    mkdir -p "$folder/packages"
    # shellcheck disable=SC2086 # one word per package
    (cd "$folder/packages" && APT_CONFIG=$folder/apt.conf apt-get download -qq $wanted)
    for package in "$folder"/packages/*.deb; do
        dpkg-deb --extract "$package" "$libraries"
    done
}

# One package, as if dpkg had installed it below libraries/.
describe() {
    local name information=$described/info
    name=$(dpkg-deb --field "$1" Package)
    if [ "$(dpkg-deb --field "$1" Multi-Arch)" = same ]; then
        name=$name:$architecture
    fi
    dpkg-deb --field "$1" | sed '1a Status: install ok installed' >> "$described/status"
    echo >> "$described/status"
    dpkg-deb --fsys-tarfile "$1" | tar -t | sed "s|^\.|$libraries|; s|/$||" \
        > "$information/$name.list"
    dpkg-deb --control "$1" "$folder/control"
    for file in symbols shlibs; do
        if [ -f "$folder/control/$file" ]; then
            cp "$folder/control/$file" "$information/$name.$file"
        fi
    done
    rm -r "$folder/control"
}

rm -rf "$folder"
set_up_apt
unpack
mkdir -p "$described/info" "$described/updates"
printf '%s\n' "$(dpkg --print-architecture)" "$architecture" > "$described/arch"
echo 1 > "$described/info/format"
for package in "$folder"/packages/*.deb; do
    describe "$package"
done
