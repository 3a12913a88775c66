# Debian packages with CPack: `cpack -G DEB` in a build folder (the release
# preset's, for a real package) gives
#   libkvsynccore-6-0-6   the shared libraries (component runtime),
#   libkvsynccore-dev     headers, CMake package, pkg-config file (development),
#   synccore              the tool, its manual page and completion (tool).
# Library dependencies come from dpkg-shlibdeps; the packages among themselves
# depend on the exact version.

set(CPACK_PACKAGE_NAME synccore)
set(CPACK_PACKAGE_VENDOR "SyncCore developers")
set(CPACK_PACKAGE_CONTACT "SyncCore developers <synccore@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development tool)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tool links libraries of the runtime package, which dpkg-shlibdeps finds
# in the build folder; the dependency on that package is declared below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Shared libraries of SyncCore, the core of a desktop cloud-file sync client")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${SYNCCORE_DEB_RUNTIME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers, CMake package and pkg-config file of SyncCore")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkvsynccore-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "qt6-base-dev (>= 6.4), liblog4cplus-dev")
# Only SyncCore::SharingEngine needs Qt's private headers.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "qt6-base-private-dev")

set(CPACK_COMPONENT_TOOL_DESCRIPTION "synccore, the command-line tool of SyncCore")
set(CPACK_COMPONENT_TOOL_DEPENDS runtime)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME synccore)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)

include(CPack)
