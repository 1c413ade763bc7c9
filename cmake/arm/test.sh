#!/bin/sh
# Builds everything for both boards' architectures and runs the tests under qemu-user. Ends with a
# line for each, and fails if one of them failed. Names on the command line choose architectures.
set -eu
cd "$(dirname "$0")/../.."

architectures=${*:-armhf arm64}
summary=build/arm/summary

# An emulated network takes seconds a frame: of the tests that run some, these stand for the others.
network_tests='^(CrossArchitecture|EndToEnd\.RecognisesAPalmInANewProcess$)'

if command -v ccache > /dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER="${CMAKE_C_COMPILER_LAUNCHER:-ccache}"
    export CMAKE_CXX_COMPILER_LAUNCHER="${CMAKE_CXX_COMPILER_LAUNCHER:-ccache}"
fi

# Runs a step and notes how long it took.
step() {
    name=$1
    shift
    begin=$(date +%s)
    "$@" || { echo "$architecture: $name failed" >> $summary; return 1; }
    times="$times, $name $(($(date +%s) - begin)) s"
}

# ctest with the given selection; of its output only what is not about a passed test.
passes() {
    log=build/arm/$architecture.log
    result=0
    ctest --parallel "$(nproc)" --no-tests=error --output-on-failure "$@" > "$log" 2>&1 || result=1
    grep -vE ' Start +[0-9]+:| +Passed +[0-9.]+ sec$' "$log" || true
    count=$(sed -n 's/.* tests failed out of \([0-9]*\)$/\1/p' "$log")
    left_out=$(grep -c '(Skipped)$' "$log" || true)
    passed=$((passed + ${count:-0} - left_out))
    skipped=$((skipped + left_out))
    return $result
}

# The search kernels once more on a processor that has the instructions of all of them.
run_kernel_tests() {
    case $architecture in
        armhf) emulator=qemu-arm ;;
        arm64) emulator=qemu-aarch64 ;;
    esac
    BRAIRU_TEST_EVERY_KERNEL=1 "$emulator" -L "build/arm/sysroot-$architecture" -cpu max \
        "build/arm/$architecture/tests/match/match_tests" --gtest_filter='*KernelTest*' \
        --gtest_brief=1
}

run_tests() {
    passes --preset "$architecture" &&
        passes --test-dir "build/arm/$architecture" --tests-regex "$network_tests" &&
        run_kernel_tests
}

test_architecture() {
    times=
    passed=0
    skipped=0
    step sysroot cmake/arm/makeSysroot.sh "$architecture" &&
        step configure cmake --preset "$architecture" &&
        step build cmake --build --preset "$architecture" &&
        step tests run_tests &&
        echo "$architecture: $passed tests passed, $skipped skipped$times" >> $summary
}

cmake/installPackages.sh g++-arm-linux-gnueabihf g++-aarch64-linux-gnu qemu-user mmdebstrap
mkdir -p build/arm
: > $summary
status=0
for architecture in $architectures; do
    test_architecture || status=1
done
cat $summary
exit $status
