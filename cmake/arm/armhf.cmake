# 32-bit boards: ARMv7-A with NEON, as in a Cortex-A7.
include(${CMAKE_CURRENT_LIST_DIR}/debianCross.cmake)
brairu_cross(armv7l arm-linux-gnueabihf armhf qemu-arm cortex-a7)
set(CMAKE_C_FLAGS_INIT "-march=armv7-a -mfpu=neon-vfpv4 -mfloat-abi=hard")
# All of it is compiled by this compiler, so a change of conventions between versions is no news.
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -Wno-psabi")
