# Builds for aarch64; programs run under the emulator of qemu-user-static.
set(ZDR_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
