#!/bin/sh
# Measures the networks in models/ through the library's exported calls, on rendered palms of people
# that no training saw.
set -eu

cd "$(dirname "$0")/.."
BUILD=${BUILD:-build/release}
WORK=${WORK:-build/evaluation}
PEOPLE=${PEOPLE:-50}
CAPTURES=${CAPTURES:-14}

mkdir -p "$WORK"
for scenario in enrolment hard; do
    echo "== $scenario captures"
    rm -f "$WORK"/palms.*
    sed -e "s#\"database_path\": \".*\"#\"database_path\": \"$WORK/palms.db\"#" \
        -e "s#\"search_index_path\": \".*\"#\"search_index_path\": \"$WORK/palms.bin\"#" \
        config/brairu.json > "$WORK/config.json"
    "$BUILD/brairu-collect-features" "$WORK/config.json" "$WORK/$scenario" \
        "$PEOPLE" "$CAPTURES" 900001 $scenario 2> "$WORK/log" | grep -E '^(captures|key|code|frames|[0-9])'
    /usr/bin/python3 training/evaluate.py "$WORK/$scenario/features.npy" --enrol 6
done
