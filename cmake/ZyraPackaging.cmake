# Debian packages of the install components (cmake/ZyraInstall.cmake), written by
#   cpack --config <build>/CPackConfig.cmake -B <build>/packages
# for the architecture the build targets: amd64 from the release preset, arm64 from aarch64.
#   libzyracommonutils   the common utilities stand-in; a device image with the camera
#                        stack's own library leaves it out
#   libzyrapdparser<N>   the library, N its soname's major version
#   libzyrapdparser-dev  headers, unversioned link, pkg-config and CMake files
#   zyratune             the tool and its sample

set(ZYRA_DEB_MAINTAINER "Zyra camera tuning maintainers <camera-tuning@zyra.example>"
    CACHE STRING "Maintainer field of the Debian packages")

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(ZYRA_DEB_ARCH arm64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  set(ZYRA_DEB_ARCH amd64)
else()
  message(STATUS "No Debian architecture for ${CMAKE_SYSTEM_PROCESSOR}; no packages")
  return()
endif()

set(ZYRA_LIB_PACKAGE libzyrapdparser${PROJECT_VERSION_MAJOR})
set(ZYRA_DEB_PACKAGES
  commonutils libzyracommonutils
  runtime ${ZYRA_LIB_PACKAGE}
  dev libzyrapdparser-dev
  tool zyratune)

# Copyright and changelog go into /usr/share/doc/<package>/ of each package; the changelog
# gzipped without a time stamp, as Debian wants it.
set(doc_dir ${PROJECT_BINARY_DIR}/packaging)
string(TIMESTAMP ZYRA_DEB_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/changelog.in ${doc_dir}/changelog @ONLY)
execute_process(COMMAND gzip -9nf ${doc_dir}/changelog RESULT_VARIABLE gzip_result)
if(NOT gzip_result EQUAL 0)
  message(FATAL_ERROR "gzip failed on ${doc_dir}/changelog")
endif()

set(CPACK_COMPONENTS_ALL)
while(ZYRA_DEB_PACKAGES)
  list(POP_FRONT ZYRA_DEB_PACKAGES component package)
  string(TOUPPER ${component} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${doc_dir}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endwhile()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zyrapdparser)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${ZYRA_DEB_MAINTAINER})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${ZYRA_DEB_ARCH})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_COMMONUTILS_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_COMMONUTILS_DESCRIPTION "camera stack common utilities (stand-in)
Logging, accounted memory and operating-system helpers of the camera
stack, as far as libzyrapdparser uses them. This is the project's own
implementation of the closed library of the same name; a device image
that has the camera stack's library does not install it.")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "camera tuning library: PD library front and Parameter Parser
The PD library front stands in front of the phase-detection autofocus
algorithm libraries; the Parameter Parser reads camera tuning binaries
and hands out typed parameter modules for a path through their tree of
camera modes.")
set(CPACK_COMPONENT_DEV_DESCRIPTION "camera tuning library: development files
Headers of the set managers, the module structures, the PD library front
and the logging and allocation hooks, with the pkg-config module
zyrapdparser and the CMake package ZyraPdParser (Zyra::zyrapdparser).")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "command-line tool for camera tuning binaries
zyratune inspects, dumps and builds tuning binaries and talks to the live
tuning service of a running camera. Its sample lies in /usr/share/zyratune.")
# The dynamic linker's cache is renewed by a trigger (where CPack runs dpkg-shlibdeps it also
# adds ldconfig calls to the maintainer scripts). The shlibs file is written here rather than
# by CPack, whose way to it runs `file` on each of the ~500 headers of the dev package.
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/shlibs.in ${doc_dir}/shlibs @ONLY)
set(CPACK_DEBIAN_COMMONUTILS_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/cmake/debian/triggers ${doc_dir}/shlibs)
set(CPACK_COMPONENT_RUNTIME_DEPENDS commonutils)
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_COMPONENT_TOOL_DEPENDS commonutils)

if(CMAKE_CROSSCOMPILING)
  # dpkg-shlibdeps reads the dependencies from the installed packages of the build machine's
  # architecture, so the cross build states them: those dpkg-shlibdeps finds in the amd64
  # build of the same sources, which tests/install/check.sh compares.
  set(cxx_depends "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libstdc++6 (>= 12)")
  set(CPACK_DEBIAN_COMMONUTILS_PACKAGE_DEPENDS
    "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libstdc++6 (>= 4.4)")
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS ${cxx_depends})
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS ${cxx_depends})
else()
  foreach(component COMMONUTILS RUNTIME TOOL)
    set(CPACK_DEBIAN_${component}_PACKAGE_SHLIBDEPS ON)
  endforeach()
  # libzyracommonutils is found here while its package is not installed; the dependency on
  # its package is the component dependency above.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src/platform)
endif()

include(CPack)
