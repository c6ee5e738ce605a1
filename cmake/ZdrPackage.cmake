# A Debian package of all that is installed: cpack -G DEB --config build/release/CPackConfig.cmake
set(CPACK_PACKAGE_NAME zdr)
set(CPACK_PACKAGE_VENDOR "ZdrMp4Source")
set(CPACK_PACKAGE_CONTACT "maintainers of ZdrMp4Source <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "player of 3GPP, MP4, AMR and AAC files, with its filter module and libraries")
set(CPACK_PACKAGE_DESCRIPTION
"zdr writes the streams of a media file to files that other players read, and
shows what the file holds. It plays through ZdrMp4Source, a source filter that
other programs can load; the parser, the readers and the AAC decoder below the
filter can be used alone, from C and C++.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Installing the package updates the system's cache of libraries.
file(WRITE ${CMAKE_BINARY_DIR}/generated/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/generated/triggers)
# A build does not need the tools that find the versions of libraries; without them, assume those of the compiler.
find_program(ZDR_SHLIBDEPS dpkg-shlibdeps)
find_program(ZDR_FILE file)
# The libraries of another processor are not installed where these tools look, and CPack takes its own processor.
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
  string(REGEX REPLACE "^aarch64$" "arm64" CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
  string(REGEX REPLACE "^i[3-6]86$" "i386" CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
  string(REGEX REPLACE "^x86_64$" "amd64" CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
endif()
if(ZDR_SHLIBDEPS AND ZDR_FILE AND NOT CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
else()
  string(REGEX MATCH "^[0-9]+" compiler ${CMAKE_CXX_COMPILER_VERSION})
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libgcc-s1, libnettle8, zlib1g")
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", libstdc++6 (>= ${compiler})")
  else()
    string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", libstdc++6")
  endif()
endif()
include(CPack)
