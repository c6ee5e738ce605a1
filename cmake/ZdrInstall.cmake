# Installs the program with its documents, the filter module with the headers that a host needs, and the libraries, each
# with its public header, a CMake package (find_package(ZdrMp4Source)) and a pkg-config file.
include(CMakePackageConfigHelpers)

set(ZDR_MODULE_DIR lib/zdr)  # the program looks in ../lib/zdr, relative to its own folder
set(ZDR_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/zdr)
set(ZDR_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZdrMp4Source)
# The relative path from the folder of the pkg-config files to the prefix; the depth of the library folder varies.
file(RELATIVE_PATH ZDR_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)

# zdr_install_library(TARGET "what it is" REQUIRES other targets ... OF folders ... BY_NAME folders ...)
# Installs the library with the headers that the folders OF declare as INSTALLED. C and C++ programs name them as the
# tree does: #include "p3gpp/p3gpp.h"; those of the folders BY_NAME also by name alone.
function(zdr_install_library target description)
  cmake_parse_arguments(ARG "" "" "REQUIRES;OF;BY_NAME" ${ARGN})
  set(flags "-I\${prefix}/${ZDR_HEADER_DIR}")
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${ZDR_HEADER_DIR}>)
  foreach(folder ${ARG_BY_NAME})
    string(APPEND flags " -I\${prefix}/${ZDR_HEADER_DIR}/${folder}")
    target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${ZDR_HEADER_DIR}/${folder}>)
  endforeach()
  install(TARGETS ${target} EXPORT ZdrMp4SourceTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  foreach(folder ${ARG_OF})
    get_property(headers GLOBAL PROPERTY zdr_installed_headers_of_${folder})
    foreach(header ${headers})
      get_filename_component(room ${header} DIRECTORY)
      install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${ZDR_HEADER_DIR}/${room})
    endforeach()
  endforeach()
  string(REPLACE "_" "-" name ${target})
  list(TRANSFORM ARG_REQUIRES REPLACE "_" "-")
  list(JOIN ARG_REQUIRES " " requires)
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/generated/${name}.pc @ONLY CONTENT
"prefix=\${pcfiledir}/${ZDR_PREFIX_FROM_PC}
Name: ${name}
Description: ${description}
Version: ${PROJECT_VERSION}
Requires: ${requires}
Cflags: ${flags}
Libs: -L\${prefix}/${CMAKE_INSTALL_LIBDIR} -l${target} -lstdc++
")
  install(FILES ${CMAKE_BINARY_DIR}/generated/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

install(TARGETS zdr_win32 EXPORT ZdrMp4SourceTargets)
# The interfaces of the platform and of the module, and the runtime that loads modules: what a host needs.
zdr_install_library(zdrplatform "platform runtime of the ZdrMp4Source module and libraries"
                    OF platform/win32 platform/com platform/dshow filters/source/mp4
                    BY_NAME platform/win32 platform/com platform/dshow)
zdr_install_library(zdr_os "file and thread layer" REQUIRES zdrplatform OF os)
zdr_install_library(zdr_fmgr "file manager" REQUIRES zdr_os OF fmgr)
zdr_install_library(zdr_p3gpp "3GPP and MP4 parser" REQUIRES zdr_fmgr OF p3gpp)
zdr_install_library(zdr_aacdec "AAC decoder" OF aacdec)
zdr_install_library(zdr_id3p "ID3 tags" REQUIRES zdr_os OF id3p)
zdr_install_library(zdr_amrf "AMR file reader" REQUIRES zdr_os OF esparse/amr)
zdr_install_library(zdr_aacf "AAC file reader" REQUIRES zdr_id3p zdr_aacdec OF esparse/aac)

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

set_target_properties(zdr PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
set_target_properties(ZdrMp4Source PROPERTIES INSTALL_RPATH "$ORIGIN/../../${CMAKE_INSTALL_LIBDIR}")
install(TARGETS zdr RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS ZdrMp4Source LIBRARY DESTINATION ${ZDR_MODULE_DIR})

# The program writes its own documents from its table of options, so that they cannot disagree with it.
set(documents ${CMAKE_BINARY_DIR}/generated/documents)
install(CODE "
  file(MAKE_DIRECTORY ${documents})
  foreach(document \"zdr.1=man-page\" \"zdr=completion bash\" \"_zdr=completion zsh\" \"zdr.fish=completion fish\")
    string(REGEX MATCH \"^[^=]+\" name \"\${document}\")
    string(REGEX REPLACE \"^[^=]+=\" \"\" words \"\${document}\")
    separate_arguments(words)
    execute_process(COMMAND $<TARGET_FILE:zdr> \${words} OUTPUT_FILE ${documents}/\${name} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()")
install(FILES ${documents}/zdr.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${documents}/zdr DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES ${documents}/_zdr DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
install(FILES ${documents}/zdr.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
