# Builds for i686 with Debian's cross compiler, whose programs run on x86-64 as they are.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
# Needs no libraries of that processor at run time.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
