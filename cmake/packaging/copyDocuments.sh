#!/bin/sh
# Copies the documents into a folder, laid out as in the repository, and beside them what they link
# to. Source code stays behind: links to it become plain text.
set -eu
target=$(mkdir -p "$1" && cd "$1" && pwd)
cd "$(dirname "$0")/../.."

cp -r --parents README.md docs/*.md docs/bench docs/pictures config/brairu.json examples \
    include/brairu.h models/README.md platform/*/README.md platform/*/include renderer/README.md \
    tools/brairu/README.md training/README.md training/exportModel.py "$target/"
find "$target" -name '*.md' -exec \
    sed -i -zE 's/\[([^]]*)\]\((\.\.\/)*(src|tests|tools\/demo)(\/[^)]*)?\)/\1/g' {} +
