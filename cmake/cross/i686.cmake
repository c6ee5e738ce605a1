# Builds for i686; the programs run on x86-64 as they are, with the libraries of ZDR_ROOT if that is set.
set(ZDR_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
if(ZDR_ROOT)
  # Programs that tests start have to find the libraries too, so these are named in each program.
  set(libraries ${ZDR_ROOT}/lib/i386-linux-gnu:${ZDR_ROOT}/usr/lib/i386-linux-gnu)
  set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--dynamic-linker=${ZDR_ROOT}/lib/ld-linux.so.2,-rpath,${libraries}")
  set(CMAKE_SHARED_LINKER_FLAGS_INIT -Wl,-rpath,${libraries})
endif()
