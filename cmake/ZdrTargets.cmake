# The functions with which every folder declares its target, so that flags and layering are written once.

# ccache handles precompiled headers only when it is configured to ignore their defines and times.
find_program(ZDR_CCACHE ccache)
if(ZDR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(launcher ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime ${ZDR_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
endif()

find_package(Threads REQUIRED)

# Flags for all of our own code; third-party headers are included as system headers.
add_library(zdr_flags INTERFACE)
target_compile_options(zdr_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                           $<$<BOOL:${ZDR_WARNINGS_AS_ERRORS}>:-Werror>)
# 32-bit programs, too, have files above 2 GiB and times after 2038.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_definitions(zdr_flags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
  # The older floating point registers of x86 round later than those of other processors, which would change times. The
  # decoder alone computes no times.
  include(CheckCXXSourceCompiles)
  check_cxx_source_compiles("#ifndef __i386__\n#error other\n#endif\nint main() {}" ZDR_IS_X86_32)
  if(ZDR_IS_X86_32 AND NOT ZDR_DECODER_ONLY)
    target_compile_options(zdr_flags INTERFACE -msse2 -mfpmath=sse)
  endif()
endif()
# Headers are named from the root of the tree: "p3gpp/p3gpp.h".
target_include_directories(zdr_flags INTERFACE ${PROJECT_SOURCE_DIR})
if(ZDR_SANITIZE)
  target_compile_options(zdr_flags INTERFACE -fsanitize=${ZDR_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
  target_link_options(zdr_flags INTERFACE -fsanitize=${ZDR_SANITIZE})
  # gcc reports uninitialised values and overruns inside the standard library once the sanitizers have instrumented it.
  target_compile_options(zdr_flags INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized;-Wno-stringop-overflow;-Wno-array-bounds>)
endif()

if(ZDR_FUZZ)
  # The libraries are instrumented for coverage; only the fuzz programs link the engine.
  target_compile_options(zdr_flags INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(zdr_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Headers of the standard library and of third parties take half of a compilation, so they are precompiled once for all
# targets with the same flags. Sanitizer builds go without, and so find missing includes.
# zdr_precompile(TARGET GROUP headers ...)
function(zdr_precompile target group)
  if(ZDR_SANITIZE)
    return()
  endif()
  get_property(owner GLOBAL PROPERTY zdr_precompiled_${group})
  if(owner)
    target_precompile_headers(${target} REUSE_FROM ${owner})
  else()
    target_precompile_headers(${target} PRIVATE ${ARGN})
    set_property(GLOBAL PROPERTY zdr_precompiled_${group} ${target})
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
  endif()
  # C files cannot use a precompiled C++ header.
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "[.]c$")
  if(sources)
    set_source_files_properties(${sources} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
  endif()
endfunction()

set(ZDR_STANDARD_HEADERS <algorithm> <array> <atomic> <cstring> <memory> <mutex> <optional> <span> <string>
                         <string_view> <vector>)

# zdr_public_headers(INSTALLED a.h ... TREE b.h ...) Declares the headers of the calling folder that other folders may
# include; tools/check_layers.py reads these declarations and refuses every other include across folders. INSTALLED
# headers are also installed for users of the libraries, TREE headers stay in this tree.
function(zdr_public_headers)
  cmake_parse_arguments(ARG "" "" "INSTALLED;TREE" ${ARGN})
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  list(TRANSFORM ARG_INSTALLED PREPEND ${folder}/)
  set_property(GLOBAL PROPERTY zdr_installed_headers_of_${folder} ${ARG_INSTALLED})
endfunction()

# zdr_library(NAME SOURCES a.cpp ... [DEPENDS targets ...] [HEADERS <of others> ...])
# A static library of one folder. DEPENDS names exactly the folders it may include from; HEADERS are precompiled together
# with those of the standard library.
function(zdr_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;HEADERS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC ${ARG_DEPENDS} PRIVATE $<BUILD_INTERFACE:zdr_flags> Threads::Threads)
  if(ARG_HEADERS)
    zdr_precompile(${name} ${name} ${ZDR_STANDARD_HEADERS} ${ARG_HEADERS})
  else()
    zdr_precompile(${name} library ${ZDR_STANDARD_HEADERS})
  endif()
endfunction()

# What every test program is compiled with; equal flags let them share one precompiled header.
function(zdr_test_options name)
  target_link_libraries(${name} PRIVATE zdr_flags GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE ZDR_SAMPLES_DIR="${PROJECT_SOURCE_DIR}/samples")
  # Optimising a test takes longer than running it.
  target_compile_options(${name} PRIVATE $<$<CONFIG:RelWithDebInfo>:-O1>)
  # At -O1 gcc reports overruns inside the standard library's own strings.
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds;-Wno-stringop-overflow>)
  zdr_precompile(${name} test <gmock/gmock.h> <gtest/gtest.h>)
endfunction()

# zdr_test(NAME SOURCES a_test.cpp ... [DEPENDS targets ...])
# One test program; each TEST in it becomes a ctest of its own.
function(zdr_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  # The owner of the precompiled header: an empty program, so that no test program waits for another one.
  if(NOT TARGET zdr_test_headers)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/generated/zdr_test_headers.cpp CONTENT "")
    add_executable(zdr_test_headers EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/generated/zdr_test_headers.cpp)
    zdr_test_options(zdr_test_headers)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS})
  zdr_test_options(${name})
  # The longest test takes seconds, but minutes under an emulator, or under a sanitizer when it decodes a folder of extra media.
  set(timeout 120)
  if(ZDR_SANITIZE OR CMAKE_CROSSCOMPILING_EMULATOR)
    set(timeout 900)
  endif()
  # Tests must not use the user's own registry, which may name another module.
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT ${timeout} ENVIRONMENT ZDR_REGISTRY=${CMAKE_BINARY_DIR}/no-registry.reg)
endfunction()

# zdr_fuzz(NAME SOURCES a.cpp ... [DEPENDS targets ...])
# One fuzz target; the target "fuzzers" builds all of them.
function(zdr_fuzz name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE zdr_flags ${ARG_DEPENDS})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  if(NOT TARGET fuzzers)
    add_custom_target(fuzzers)
  endif()
  add_dependencies(fuzzers ${name})
endfunction()

# zdr_bench(NAME SOURCES a.cpp ... [DEPENDS targets ...])
function(zdr_bench name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE zdr_flags ${ARG_DEPENDS} benchmark::benchmark_main)
endfunction()
