#!/bin/sh
# Compiles the C example of the README and runs it on a rendered frame.
#   readmeExample.sh SOURCE_FOLDER BUILD_FOLDER C_COMPILER [COMPILER_FLAG...]
set -eu
source=$1
build=$2
compiler=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

awk '/^```c$/ {inside = 1; next} /^```$/ {inside = 0} inside' "$source/README.md" > "$work/example.c"
[ "$(wc -l < "$work/example.c")" -ge 15 ]
"$compiler" "$@" -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$source/include" "$work/example.c" \
    -L "$build" -lbrairu -Wl,-rpath,"$build" -o "$work/example"

cp -r "$source/config" "$source/models" "$work/"
mkdir "$work/data"
cd "$work"
"$build/brairu-palms" palms --people 1 --captures 1 --format raw
./example palms/0L_0.raw > output 2> log
grep -qx "not enrolled" output

head -c 307200 /dev/zero > empty.raw
./example empty.raw > output 2> log
grep -qx "no hand" output
