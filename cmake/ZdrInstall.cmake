# Installs the program with its documents, the filter module with the headers that a host needs, and the libraries, each
# with its public headers, a CMake package (find_package(ZdrMp4Source)) and a pkg-config file.
include(CMakePackageConfigHelpers)

# The program finds this folder through kModuleFolder of host/version.h.
set(ZDR_MODULE_DIR ${CMAKE_INSTALL_LIBDIR}/zdr)
set(ZDR_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/zdr)
set(ZDR_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZdrMp4Source)
# Paths relative to the folder of the pkg-config files, because the depth of that folder and the place of the headers vary.
set(pkg_config_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH ZDR_PREFIX_FROM_PC ${pkg_config_dir} ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH ZDR_HEADERS_FROM_PC ${pkg_config_dir} ${CMAKE_INSTALL_FULL_INCLUDEDIR}/zdr)

# zdr_install_library(TARGET "what it is" REQUIRES other targets ... OF folders ... BY_NAME folders ...)
# Installs the library with the headers that the folders OF declare as INSTALLED. C and C++ programs name them as the
# tree does: #include "p3gpp/p3gpp.h"; those of the folders BY_NAME also by name alone.
function(zdr_install_library target description)
  cmake_parse_arguments(ARG "" "" "REQUIRES;OF;BY_NAME" ${ARGN})
  set(flags "-I\${includedir}")
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${ZDR_HEADER_DIR}>)
  foreach(folder ${ARG_BY_NAME})
    string(APPEND flags " -I\${includedir}/${folder}")
    target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${ZDR_HEADER_DIR}/${folder}>)
  endforeach()
  install(TARGETS ${target} EXPORT ZdrMp4SourceTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  foreach(folder ${ARG_OF})
    get_property(headers GLOBAL PROPERTY zdr_installed_headers_of_${folder})
    foreach(header ${headers})
      get_filename_component(subfolder ${header} DIRECTORY)
      install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${ZDR_HEADER_DIR}/${subfolder})
    endforeach()
  endforeach()
  string(REPLACE "_" "-" name ${target})
  list(TRANSFORM ARG_REQUIRES REPLACE "_" "-")
  list(JOIN ARG_REQUIRES " " requires)
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/generated/${name}.pc @ONLY CONTENT
"prefix=\${pcfiledir}/${ZDR_PREFIX_FROM_PC}
includedir=\${pcfiledir}/${ZDR_HEADERS_FROM_PC}
libdir=\${pcfiledir}/..
# The filter module, for create_from_module of platform/com/class_modules.h.
module=\${libdir}/zdr/ZdrMp4Source.so
Name: ${name}
Description: ${description}
Version: ${PROJECT_VERSION}
Requires: ${requires}
Cflags: ${flags}
Libs: -L\${libdir} -l${target} -lstdc++
")
  install(FILES ${CMAKE_BINARY_DIR}/generated/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

install(TARGETS zdr_win32 zdr_com EXPORT ZdrMp4SourceTargets)
# The interfaces of the platform and of the module, and the runtime that loads modules: what a host needs.
zdr_install_library(zdrplatform "platform runtime of the ZdrMp4Source module and libraries"
                    OF platform/win32 platform/com platform/dshow filters/source/mp4
                    BY_NAME platform/win32 platform/com platform/dshow)
zdr_install_library(zdr_dshow "base classes of filters and pins" REQUIRES zdrplatform)
zdr_install_library(zdr_os "file and thread layer" REQUIRES zdrplatform OF os)
zdr_install_library(zdr_fmgr "file manager" REQUIRES zdr_os OF fmgr)
zdr_install_library(zdr_p3gpp "3GPP and MP4 parser" REQUIRES zdr_fmgr OF p3gpp)
zdr_install_library(zdr_aacdec "AAC decoder" OF aacdec)
zdr_install_library(zdr_id3p "ID3 tags" REQUIRES zdr_os OF id3p)
zdr_install_library(zdr_amrf "AMR file reader" REQUIRES zdr_os OF esparse/amr)
zdr_install_library(zdr_aacf "AAC file reader" REQUIRES zdr_id3p zdr_aacdec OF esparse/aac)

# ZdrMp4Source::module is the filter module, which a host loads at run time and never links.
set_target_properties(ZdrMp4Source PROPERTIES EXPORT_NAME module)
install(TARGETS ZdrMp4Source EXPORT ZdrMp4SourceTargets LIBRARY DESTINATION ${ZDR_MODULE_DIR})
install(TARGETS zdr RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# One RUNPATH for both trees: the libraries are in their own folder once installed, and next to the program in the build
# tree. CMake would end a RUNPATH that it replaces during the installation with an empty entry, so that programs of the build
# tree would load libraries from the working folder.
foreach(target_and_folder zdr=${CMAKE_INSTALL_FULL_BINDIR} ZdrMp4Source=${CMAKE_INSTALL_FULL_LIBDIR}/zdr)
  string(REGEX MATCH "^[^=]+" target ${target_and_folder})
  string(REGEX REPLACE "^[^=]+=" "" folder ${target_and_folder})
  file(RELATIVE_PATH libraries ${folder} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN/${libraries};$ORIGIN")
endforeach()

install(EXPORT ZdrMp4SourceTargets NAMESPACE ZdrMp4Source:: DESTINATION ${ZDR_PACKAGE_DIR})
file(WRITE ${CMAKE_BINARY_DIR}/generated/ZdrMp4SourceConfig.cmake
"include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(\${CMAKE_CURRENT_LIST_DIR}/ZdrMp4SourceTargets.cmake)
")
write_basic_package_version_file(${CMAKE_BINARY_DIR}/generated/ZdrMp4SourceConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/generated/ZdrMp4SourceConfig.cmake
              ${CMAKE_BINARY_DIR}/generated/ZdrMp4SourceConfigVersion.cmake DESTINATION ${ZDR_PACKAGE_DIR})

# The program writes its own man page and completions from its table of options, so that they cannot disagree with it.
# It runs during the build, so that an installation for another machine runs no program. A cross build runs it under
# CMAKE_CROSSCOMPILING_EMULATOR, or runs ZDR_NATIVE_PROGRAM, a zdr of the same version for the build machine.
set(ZDR_NATIVE_PROGRAM "" CACHE FILEPATH "A zdr that runs on this machine, for the documents of a cross build")
set(writer zdr)
if(ZDR_NATIVE_PROGRAM)
  set(writer ${ZDR_NATIVE_PROGRAM})
endif()
set(documents)
# zdr_install_document(NAME FOLDER words of the command line ...)
function(zdr_install_document name folder)
  set(document ${CMAKE_BINARY_DIR}/generated/documents/${name})
  add_custom_command(OUTPUT ${document} COMMAND ${writer} ${ARGN} > ${document} DEPENDS ${writer} VERBATIM)
  install(FILES ${document} DESTINATION ${folder})
  set(documents ${documents} ${document} PARENT_SCOPE)
endfunction()
if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR AND NOT ZDR_NATIVE_PROGRAM)
  message(WARNING "no man page and no completions: set ZDR_NATIVE_PROGRAM or CMAKE_CROSSCOMPILING_EMULATOR")
else()
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/generated/documents)
  zdr_install_document(zdr.1 ${CMAKE_INSTALL_MANDIR}/man1 man-page)
  zdr_install_document(zdr ${CMAKE_INSTALL_DATADIR}/bash-completion/completions completion bash)
  zdr_install_document(_zdr ${CMAKE_INSTALL_DATADIR}/zsh/site-functions completion zsh)
  zdr_install_document(zdr.fish ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d completion fish)
endif()
add_custom_target(zdr_documents ALL DEPENDS ${documents})

install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
