#!/bin/sh
# A compiler in a clean folder finds the installed library with pkg-config, and what it makes runs.
set -eu
. "$(dirname "$0")/support.sh"
install_and_move

export PKG_CONFIG_PATH="$libraries/pkgconfig"
cp "$source"/examples/*.[ch] "$work/"
cd "$work"
# shellcheck disable=SC2046,SC2086 # one word per flag
"$compiler" $flags -std=c11 -Wall -Wextra -Wpedantic -Werror door.c frames.c \
    $(pkg-config --cflags --libs brairu) -Wl,-rpath,"$libraries" -o door
serves "$work/door"
