# The Debian packages that "cpack -G DEB" makes, a package each install component. scripts/package.sh calls it.

# The library's package bears the name of its SONAME, so that two that differ may stand side by side.
set( soname_package liborvex${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR} )

set( CPACK_GENERATOR DEB )
set( CPACK_COMPONENTS_ALL runtime development )
if( ORVEX_HOST )
  list( APPEND CPACK_COMPONENTS_ALL command )
endif()
set( CPACK_PACKAGE_NAME orvex )
set( CPACK_PACKAGE_VENDOR "Orvex developers" )
set( CPACK_PACKAGE_CONTACT "Orvex developers <orvex@orvex.invalid>" )
set( CPACK_PACKAGE_DESCRIPTION_SUMMARY "" )  # each package has its own
set( CPACK_PACKAGING_INSTALL_PREFIX /usr )
set( CPACK_STRIP_FILES ON )

set( CPACK_DEB_COMPONENT_INSTALL ON )
set( CPACK_DEBIAN_FILE_NAME DEB-DEFAULT )
set( CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON )
set( CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON )
set( CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} )
set( CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON )
set( CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime )
set( CPACK_COMPONENT_COMMAND_DEPENDS runtime )

set( CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${soname_package} )
set( CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs )
set( CPACK_COMPONENT_RUNTIME_DESCRIPTION "compiler of access-control policy - library
libOrvex compiles access-control policy into compact ternary tables for a
switching chip. It runs inside a switch agent, which fills in the policy, and
hands the tables to a driver layer." )
set( CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON )
set( CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers )

set( CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liborvex-dev )
set( CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel )
set( CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "compiler of access-control policy - development files
Headers of libOrvex, what CMake and pkg-config find it by, and an example of a
host with a driver layer." )

set( CPACK_DEBIAN_COMMAND_PACKAGE_NAME orvex )
set( CPACK_DEBIAN_COMMAND_PACKAGE_SECTION net )
set( CPACK_COMPONENT_COMMAND_DESCRIPTION "compiler of access-control policy - command
The command orvex checks, compiles, explains, compares and converts
access-control policies, and proves that a ternary table is the policy that it
was made of. Policies are read as ACL text, as JSON of RFC 8519 and of
OpenConfig, and as ClassBench filter sets." )

if( NOT DEFINED ENV{SOURCE_DATE_EPOCH} )
  set( ENV{SOURCE_DATE_EPOCH} ${ORVEX_RELEASE_EPOCH} )
endif()
string( TIMESTAMP ORVEX_RELEASE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC )
configure_file( cmake/debian/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog @ONLY )
set( CPACK_ORVEX_RELEASE_EPOCH ${ORVEX_RELEASE_EPOCH} )
set( CPACK_ORVEX_DEBIAN_FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog )
set( CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianFiles.cmake )

include( CPack )
