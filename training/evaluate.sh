#!/bin/sh
# Measures the networks in MODELS through the library's exported calls, on rendered palms of people
# that no training saw: the first ENROL of each palm's CAPTURES make its template, the others are
# probes.
set -eu

cd "$(dirname "$0")/.."
BUILD=${BUILD:-build/release}
WORK=${WORK:-build/evaluation}
MODELS=${MODELS:-models}
PEOPLE=${PEOPLE:-500}
CAPTURES=${CAPTURES:-6}
ENROL=${ENROL:-3}

cmake/installPackages.sh python3-numpy
mkdir -p "$WORK"
for scenario in enrolment hard; do
    echo "== $scenario captures"
    rm -f "$WORK"/palms.*
    sed -e "s#\"models/#\"$MODELS/#" \
        -e "s#\"database_path\": \".*\"#\"database_path\": \"$WORK/palms.db\"#" \
        -e "s#\"search_index_path\": \".*\"#\"search_index_path\": \"$WORK/palms.bin\"#" \
        config/brairu.json > "$WORK/config.json"
    rm -rf "${WORK:?}/$scenario"
    "$BUILD/brairu-collect-features" "$WORK/config.json" "$WORK/$scenario" "$PEOPLE" "$CAPTURES" \
        900001 "$scenario" > "$WORK/$scenario.txt" 2> "$WORK/log" || {
        tail -n 5 "$WORK/log" >&2
        exit 1
    }
    grep -E '^(captures|key|code|frames|[0-9])' "$WORK/$scenario.txt"
    /usr/bin/python3 training/evaluate.py "$WORK/$scenario/features.npy" --enrol "$ENROL"
done
