# What `cmake --install` puts under the prefix, by package component:
#   commonutils  the common utilities stand-in, libzyracommonutils.so (a device has its own)
#   runtime      libzyrapdparser.so.<major> and its versioned file
#   dev          headers, the unversioned link, zyrapdparser.pc, the CMake package ZyraPdParser
#   tool         zyratune and its bundled sample
# Every header lies below include/zyrapdparser/, which is the one include folder a consumer
# is given: the generated headers by their own names (tuning_set_manager.h, gamma_1_6_1.h),
# the hand-written ones by their path below src/, as the generated ones include them.
# docs/install.md tells why these headers and no others.

set(ZYRA_INCLUDE_SUBDIR ${CMAKE_INSTALL_INCLUDEDIR}/zyrapdparser)
set(ZYRA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZyraPdParser)

# Hand-written public headers, by path below src/ (platform headers below src/platform/).
# The set managers and module structures with what they include, the PD front's C
# interface, and the logging and allocation hooks.
set(ZYRA_PUBLIC_HEADERS
  zyra_api.h
  pdfront/pd_front.h
  pdfront/pd_lib_types.h
  parser/engine/descriptors.h
  parser/engine/schema_view.h
  parser/foundation/mode_union.h
  parser/foundation/parameter_logging.h
  parser/foundation/parameter_logging_api.h
  parser/foundation/parameter_mutex.h
  parser/foundation/plist.h
  parser/foundation/thread_separation.h
  parser/foundation/version_union.h
  parser/managers/catalogue_set_manager.h
  parser/setmanager/mode_table.h
  parser/setmanager/parameter_ct_value.h
  parser/setmanager/parameter_module.h
  parser/setmanager/parameter_set_manager.h
  parser/setmanager/tuning_mode.h)
set(ZYRA_PLATFORM_HEADERS
  zyra/export.h
  zyra/log.h
  zyra/memory.h)

foreach(header IN LISTS ZYRA_PUBLIC_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/src/${header}
          DESTINATION ${ZYRA_INCLUDE_SUBDIR}/${folder} COMPONENT dev)
endforeach()
foreach(header IN LISTS ZYRA_PLATFORM_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/src/platform/${header}
          DESTINATION ${ZYRA_INCLUDE_SUBDIR}/${folder} COMPONENT dev)
endforeach()
# The set managers and every module structure, as the build generated them.
install(DIRECTORY ${PROJECT_BINARY_DIR}/src/generated/
        DESTINATION ${ZYRA_INCLUDE_SUBDIR} COMPONENT dev
        FILES_MATCHING PATTERN "*.h")

# Installed programs and the library find the libraries beside them, or beside the library,
# wherever the prefix lies; on a device the system's library folders come after.
file(RELATIVE_PATH lib_from_bin /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
set_target_properties(zyrapdparser PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(zyratune PROPERTIES INSTALL_RPATH "$ORIGIN/${lib_from_bin}")

install(TARGETS zyracommonutils EXPORT ZyraPdParserTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT commonutils)
install(TARGETS zyrapdparser EXPORT ZyraPdParserTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(TARGETS zyratune RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
install(FILES ${PROJECT_BINARY_DIR}/tools/zyratune/sample.bin
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zyratune COMPONENT tool)

# CMake package: imported targets Zyra::zyrapdparser and Zyra::zyracommonutils, found from
# the location of the installed files, so the prefix can move.
install(EXPORT ZyraPdParserTargets NAMESPACE Zyra:: DESTINATION ${ZYRA_CMAKE_DIR} COMPONENT dev)
include(CMakePackageConfigHelpers)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZyraPdParserConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/ZyraPdParserConfig.cmake
              ${PROJECT_BINARY_DIR}/ZyraPdParserConfigVersion.cmake
        DESTINATION ${ZYRA_CMAKE_DIR} COMPONENT dev)

# pkg-config module zyrapdparser. Its prefix is found from the .pc file's own folder.
file(RELATIVE_PATH ZYRA_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" ZYRA_PC_TO_PREFIX ${ZYRA_PC_TO_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/zyrapdparser.pc.in
               ${PROJECT_BINARY_DIR}/zyrapdparser.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zyrapdparser.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
