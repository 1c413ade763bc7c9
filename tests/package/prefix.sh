#!/bin/sh
# An installation of everything below a prefix writes nothing outside it.
set -eu
. "$(dirname "$0")/support.sh"

DESTDIR=$work/root cmake --install "$build" --prefix /somewhere > /dev/null
for file in bin/brairu bin/brairu-conformance include/brairu.h \
    share/man/man1/brairu.1 share/man/man1/brairu-conformance.1; do
    [ -f "$work/root/somewhere/$file" ] || fail "$file is not installed"
done
find "$work/root" -mindepth 1 ! -path "$work/root/somewhere" ! -path "$work/root/somewhere/*" \
    > "$work/outside"
[ ! -s "$work/outside" ] || { cat "$work/outside"; fail "this is outside the prefix"; }
