#!/bin/sh
# Runs every fuzz target for a while on a copy of its corpus and prints what came of it.
#
#   run.sh BUILD_FOLDER [TARGET...]
#
# FUZZ_SECONDS: for each target, 60 unless set. Inputs that bring a target down are kept in
# BUILD_FOLDER/crashes, logs in BUILD_FOLDER/logs. Fails if there are any.
set -eu

build=$(cd "$1" && pwd)
shift
here=$(cd "$(dirname "$0")" && pwd)
seconds=${FUZZ_SECONDS:-60}
crashes=$build/crashes
logs=$build/logs
megabytes=1024
[ $# -gt 0 ] || set -- config container modelPair pose capture database cache calls

mkdir -p "$crashes" "$logs"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
[ ! -d /dev/shm ] || export TMPDIR=/dev/shm
export OPENCV_LOG_LEVEL=SILENT BRAIRU_NPU_THREADS=1
export ASAN_OPTIONS=quarantine_size_mb=32:allocator_may_return_null=0:detect_stack_use_after_return=1

# The last number that a log gives after a word.
last() {
    sed -n "s/.*$1:* *\([0-9][0-9]*\).*/\1/p" "$2" | tail -n 1
}

printf '%-11s %12s %9s %7s %7s %8s\n' target executions per-sec cov corpus crashes
failed=0
for target in "$@"; do
    mkdir -p "$scratch/$target"
    cp -r "$here/corpus/$target/." "$scratch/$target"
    [ ! -d "$here/regressions/$target" ] || cp -r "$here/regressions/$target/." "$scratch/$target"
    log=$logs/$target.log
    before=$(find "$crashes" -name "$target-*" | wc -l)
    status=0
    "$build/tests/fuzz/brairu_fuzz_$target" "$scratch/$target" -max_total_time="$seconds" \
        -max_len=16384 -timeout=10 -rss_limit_mb=$megabytes -malloc_limit_mb=$megabytes \
        -close_fd_mask=3 -print_final_stats=1 -artifact_prefix="$crashes/$target-" \
        > "$log" 2>&1 || status=$?
    found=$(($(find "$crashes" -name "$target-*" | wc -l) - before))
    [ "$status" -eq 0 ] || [ "$found" -gt 0 ] || found=1
    [ "$found" -eq 0 ] || failed=1
    printf '%-11s %12s %9s %7s %7s %8s\n' "$target" "$(last stat::number_of_executed_units "$log")" \
        "$(last stat::average_exec_per_sec "$log")" "$(last ' cov' "$log")" "$(last ' corp' "$log")" \
        "$found"
done
[ "$failed" -eq 0 ] || echo "inputs are in $crashes, reports in $logs"
exit "$failed"
