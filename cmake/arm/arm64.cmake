# 64-bit boards: plain ARMv8.0-A, as in a Cortex-A53.
include(${CMAKE_CURRENT_LIST_DIR}/debianCross.cmake)
brairu_cross(aarch64 aarch64-linux-gnu arm64 qemu-aarch64 cortex-a53)
