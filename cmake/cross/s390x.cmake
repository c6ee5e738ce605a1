# Builds for s390x; programs run under the emulator of qemu-user-static.
set(ZDR_PROCESSOR s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x-static)
