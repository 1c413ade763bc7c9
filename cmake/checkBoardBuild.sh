#!/bin/sh
# Builds the library for a board: with the stand-ins left out, and linked by name with the board's
# libraries. Empty libraries of those names take their place here, so the link shows that the names
# are asked for and that the calls stay undefined.
set -eu
cd "$(dirname "$0")/.."

folder=build/boardCheck
stubs=$folder/boardLibraries
mkdir -p "$stubs"
for name in openvx openvx-nn nn soft-nn log; do
    echo "" | ${CC:-cc} -shared -fPIC -x c - -o "$stubs/lib$name.so"
done

cmake --preset board -B $folder \
    -DCMAKE_SHARED_LINKER_FLAGS="-LboardLibraries -Wl,--no-as-needed"
cmake --build $folder --target brairu

undefined=$(nm -D --undefined-only $folder/libbrairu.so)
for call in vxProcessGraph LoadNetModelFromMem __android_log_print; do
    echo "$undefined" | grep -qw "$call" || { echo "$call is not left to the board"; exit 1; }
done
for name in brairu-npu brairu-log; do
    if readelf -d $folder/libbrairu.so | grep -q "lib$name"; then
        echo "lib$name is linked on a board"; exit 1
    fi
done
echo "board build: ok"
