#!/bin/sh
# Gets the libraries that the search is compared with, as far as they can be had: FAISS from Debian,
# the sources of the others from npm into the folder given. What is missing is said, and left out
# of the comparison.
set -u

folder=$1
mkdir -p "$folder"
cd "$(dirname "$0")/.." || exit 1

fetch() {
    name=$1
    version=$2
    [ -e "$folder/$name/package.json" ] && return
    archive=$(npm pack --silent --pack-destination "$folder" "$name@$version") &&
        mkdir -p "$folder/$name" &&
        tar -xzf "$folder/$archive" -C "$folder/$name" --strip-components=1
}

# USearch's kernels are compiled for the instruction sets that this says the compiler knows.
probe_compiler() {
    [ -e "$folder/usearch/numkong/nk_probes.h" ] || (cd "$folder/usearch/numkong" &&
        node probes/probe.js > /dev/null)
}

cmake/installPackages.sh libfaiss-dev || echo "FAISS is left out"
command -v npm > /dev/null || cmake/installPackages.sh npm
fetch simsimd 6.5.5 || echo "SimSIMD is left out"
if ! { fetch usearch 2.25.3 && probe_compiler; }; then
    echo "USearch is left out"
fi
exit 0
