#!/bin/sh
# The Python example runs on the installed library.
set -eu
. "$(dirname "$0")/support.sh"
install_and_move

export LD_LIBRARY_PATH="$libraries"
serves python3 "$source/examples/door.py"
expect 2 "$work/short/0.pgm: too short" python3 "$source/examples/door.py" "$work/brairu.json" \
    watch "$(mkdir "$work/short" && printf 'P5\n9 9\n255\nx' > "$work/short/0.pgm" && echo "$work/short")"

# Its records have the sizes of the header's.
cat > "$work/sizes.c" <<END
#include <brairu.h>
#include <stdio.h>
int main(void) {
    printf("%zu %zu %zu %zu %d\n", sizeof(PvaHandPose), sizeof(PvaUserKey),
           sizeof(PvaRegisterResult), sizeof(PvaAuthResult), PVA_FEATURE_BYTES);
    return 0;
}
END
"$compiler" -I "$prefix/include" "$work/sizes.c" -o "$work/sizes"
python3 -B - "$source/examples" > "$work/found" <<END
import ctypes, sys
sys.path.insert(0, sys.argv[1])
import door
records = (door.HandPose, door.UserKey, door.RegisterResult, door.AuthResult)
print(*map(ctypes.sizeof, records), door.FEATURE_BYTES)
END
"$work/sizes" | diff - "$work/found" || fail "the records have other sizes"
