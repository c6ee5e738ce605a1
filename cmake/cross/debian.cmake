# What the toolchain files of this folder share: Debian's cross compiler for ZDR_PROCESSOR.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${ZDR_PROCESSOR})
set(CMAKE_C_COMPILER ${ZDR_PROCESSOR}-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER ${ZDR_PROCESSOR}-linux-gnu-g++)
# Needs no libraries of that processor at run time.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
