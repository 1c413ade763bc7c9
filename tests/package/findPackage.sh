#!/bin/sh
# A project in a clean folder finds the installed library with find_package and runs on it.
set -eu
. "$(dirname "$0")/support.sh"
install_and_move

mkdir "$work/project"
cp "$source"/examples/CMakeLists.txt "$source"/examples/*.[ch] "$work/project/"
cmake -S "$work/project" -B "$work/built" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_COMPILER="$compiler" -DCMAKE_C_FLAGS="-Wall -Wextra -Wpedantic -Werror $flags" \
    > "$work/cmake.log" || { cat "$work/cmake.log"; fail "cmake failed"; }
cmake --build "$work/built" > "$work/cmake.log" || { cat "$work/cmake.log"; fail "build failed"; }

serves "$work/built/door"
expect 2 "$work/nowhere: No such file or directory" \
    "$work/built/door" "$work/brairu.json" watch "$work/nowhere"
expect 2 "VIDIOC_S_FMT: Inappropriate ioctl for device" \
    "$work/built/door" "$work/brairu.json" watch /dev/null
