#!/bin/sh
# The C example takes frames from a camera of either format until it is unplugged.
set -eu
. "$(dirname "$0")/support.sh"

# shellcheck disable=SC2086 # one word per flag
"$compiler" $flags -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$source/include" \
    -I "$source/examples" "$source"/examples/*.c "$(dirname "$0")/cameraDouble.c" \
    -Wl,--wrap=open,--wrap=ioctl -L "$build" -lbrairu -Wl,-rpath,"$build" -o "$work/door"
draw_palms
for format in YUYV GREY; do
    write_config
    rm -f "$work"/palms.*
    export CAMERA_FORMAT=$format
    export CAMERA_PICTURES="$work/palm0/enrolment"
    expect 0 "enrolled" "$work/door" "$work/brairu.json" enrol 7 1 /dev/double
    export CAMERA_PICTURES="$work/palm0/probes"
    expect 2 "VIDIOC_DQBUF: No such device" "$work/door" "$work/brairu.json" watch /dev/double
    [ "$(grep -cx "door: open for user 7, palm 1" "$work/output")" -gt 0 ] ||
        fail "opened for nobody"
done
