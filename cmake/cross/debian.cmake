# What the toolchain files of this folder share: the cross libraries of Debian for ZDR_PROCESSOR, with its gcc, or with the
# clang of this machine if ZDR_CLANG is set.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${ZDR_PROCESSOR})
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZDR_CLANG)
if(ZDR_CLANG)
  set(CMAKE_C_COMPILER clang)
  set(CMAKE_CXX_COMPILER clang++)
  set(CMAKE_C_COMPILER_TARGET ${ZDR_PROCESSOR}-linux-gnu)
  set(CMAKE_CXX_COMPILER_TARGET ${ZDR_PROCESSOR}-linux-gnu)
else()
  set(CMAKE_C_COMPILER ${ZDR_PROCESSOR}-linux-gnu-gcc)
  set(CMAKE_CXX_COMPILER ${ZDR_PROCESSOR}-linux-gnu-g++)
endif()
# Needs no libraries of that processor at run time.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
