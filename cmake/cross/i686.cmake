# Builds for i686; the programs run on x86-64 as they are.
set(ZDR_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
