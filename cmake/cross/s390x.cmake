# Builds for s390x; programs run under the emulator of qemu-user-static, with the libraries of ZDR_ROOT if that is set.
set(ZDR_PROCESSOR s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x-static)
if(ZDR_ROOT)
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -L ${ZDR_ROOT})
endif()
