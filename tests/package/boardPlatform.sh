#!/bin/sh
# A board's libraries take the place of the stand-ins under a library that is already built, by the
# commands of the board guide.
set -eu
. "$(dirname "$0")/support.sh"

# The board: the stand-in's operations in a library of another name, a log of its own, and the rest
# empty.
mkdir "$work/board" "$work/platform"
"$compiler" -shared -Wl,-soname,libnn.so -o "$work/board/libnn.so" \
    -Wl,--whole-archive "$build/platform/npu/libbrairu_npu_static.a" -Wl,--no-whole-archive \
    -lopencv_dnn -lopencv_imgproc -lopencv_core -lsodium -lstdc++ -lm
cat > "$work/log.c" <<END
#include <stdio.h>
int __android_log_print(int priority, const char *tag, const char *format, ...) {
    return fprintf(stderr, "board's log: %d %s %s\n", priority, tag, format);
}
END
"$compiler" -shared -fPIC -Wl,-soname,liblog.so -o "$work/board/liblog.so" "$work/log.c"
for name in openvx openvx-nn soft-nn; do
    "$compiler" -shared -Wl,-soname,lib$name.so -o "$work/board/lib$name.so" -x c /dev/null
done

awk '/^```sh$/ {inside = 1; next} /^```$/ {inside = 0} inside' "$source/docs/boards.md" |
    sed "s|^cc|\"$compiler\" -L \"$work/board\"|" > "$work/commands"
[ "$(grep -c soname "$work/commands")" -eq 2 ] || fail "the guide has other commands"
(cd "$work/platform" && sh -e "$work/commands")

export LD_LIBRARY_PATH="$work/platform:$work/board"
cd "$source"
"$build/brairu-conformance" > "$work/output" 2> "$work/log" ||
    { cat "$work/output" "$work/log"; fail "the board's libraries do not pass"; }
grep -q "^board's log: 6 pva " "$work/log" || fail "the log is not the board's"
"$build/brairu" doctor > "$work/output" || { cat "$work/output"; fail "doctor finds faults"; }
grep -q "NPU stack $work/board/libnn.so" "$work/output" || fail "the NPU stack is not the board's"
