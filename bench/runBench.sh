#!/bin/sh
# Builds the benchmarks and whatever they compare with, runs them and draws the search's growth.
# Arguments are options of Google Benchmark. Ends with 1 if a goal was missed.
set -eu

cd "$(dirname "$0")/.."
BUILD=build/bench

cmake/installPackages.sh libbenchmark-dev
bench/fetchPeers.sh "$PWD/$BUILD/peers"
cmake --preset bench
cmake --build --preset bench

status=0
"$BUILD/brairu-bench" "$BUILD/results.json" "$@" || status=$?
"$BUILD/brairu-search-time" "$BUILD/results.json" "$BUILD/searchTime.svg"
exit $status
