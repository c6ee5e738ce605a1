# Builds for s390x with Debian's cross compiler; programs run under the emulator of qemu-user-static.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)
# Needs no libraries of that processor at run time.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x-static)
