#!/bin/sh
# Runs clang-tidy with the rules of .clang-tidy over the library and the stand-ins, or over the files
# that a regular expression, the first argument, fits. Any finding is a failure.
set -eu
cd "$(dirname "$0")/.."

cmake/installPackages.sh clang-tidy
folder=build/tidy
cmake --preset clang -B $folder -DBRAIRU_TESTS=ON -DBRAIRU_TOOLS=ON > /dev/null

files=${1:-"$PWD/(src|platform)/.*\.cpp"}
report=$folder/report.txt
if run-clang-tidy -quiet -p $folder -j "$(nproc)" "$files" > $report 2> $folder/log.txt; then
    count=$(grep -c '^clang-tidy' $report || true)
    if [ "$count" -eq 0 ]; then
        echo "clang-tidy: no file fits $files" >&2
        exit 1
    fi
    echo "clang-tidy: no findings in $count files"
else
    grep -v '^clang-tidy' $report
    exit 1
fi
