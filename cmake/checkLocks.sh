#!/bin/sh
# Shows that the thread-safety analysis guards what it should: with any one of the locks of the API
# taken out, the library must not compile.
#   checkLocks.sh BUILD_FOLDER_OF_CLANG
set -eu
cd "$(dirname "$0")/.."
build=$1

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The compiler's command for a source file, for another file in its place, without output.
command_for() {
    ninja -C "$build" -t commands "src/CMakeFiles/brairu_core.dir/${1#src/}.o" | tail -n 1 |
        sed "s| -MD -MT .* -o [^ ]*\.o | -fsyntax-only |; s| -c .*| -x c++ -c $work/mutant.cpp|"
}

locks=0
for place in $(grep -n 'const MutexLock lock(apiLock);' src/pvAuth/*.cpp | cut -d: -f1,2); do
    file=${place%:*}
    line=${place#*:}
    cp "$file" "$work/mutant.cpp"
    sh -c "cd $build && $(command_for "$file")" || { echo "$file does not compile as it is"; exit 1; }
    sed -i "${line}d" "$work/mutant.cpp"
    if sh -c "cd $build && $(command_for "$file")" 2> "$work/errors"; then
        echo "$file:$line: compiles without its lock"
        exit 1
    fi
    grep -q 'error:.*-Wthread-safety' "$work/errors" ||
        { echo "$file:$line: refused for another reason"; cat "$work/errors"; exit 1; }
    locks=$((locks + 1))
done
[ "$locks" -gt 0 ]
echo "locks: $locks taken out one by one, each refused by the analysis"
