#!/bin/sh
# Builds for gcov, runs every test and prints which lines and branches of src/ were reached. Fewer
# lines than the limit are a failure.
set -eu
cd "$(dirname "$0")/.."

leastLines=95
folder=build/coverage

cmake/installPackages.sh gcovr
cmake --preset coverage > /dev/null
cmake --build $folder
find $folder -name '*.gcda' -delete
ctest --test-dir $folder --output-on-failure --timeout 900 -j "$(nproc)" > $folder/tests.txt ||
    { tail -40 $folder/tests.txt; exit 1; }
tail -3 $folder/tests.txt

# Calls that may throw have a branch each that no test can take: they are not counted.
report() {
    gcovr --root . --object-directory $folder --filter src/ --exclude-throw-branches \
        --exclude-unreachable-branches "$@" $folder/src
}
report --branches
report --fail-under-line $leastLines
