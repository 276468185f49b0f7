# Installs libOrvex, its headers, and what finds them: a CMake package and a pkg-config file. Neither holds an absolute
# path, so an installed tree may be moved.

include( CMakePackageConfigHelpers )
include( GNUInstallDirs )

# The headers name each other "Orvex/...", "Kiv/...", "Brae/..." and "Vell/...": all stand in one directory of their own.
set( header_dir ${CMAKE_INSTALL_INCLUDEDIR}/orvex )
set( package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Orvex )
set( pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig )

install( TARGETS Orvex EXPORT OrvexTargets LIBRARY INCLUDES DESTINATION ${header_dir} )
install( DIRECTORY include/ platform/include/ DESTINATION ${header_dir} FILES_MATCHING PATTERN "*.h" )

install( EXPORT OrvexTargets NAMESPACE Orvex:: DESTINATION ${package_dir} )
configure_package_config_file( cmake/OrvexConfig.cmake.in ${PROJECT_BINARY_DIR}/OrvexConfig.cmake
  INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO
)
write_basic_package_version_file( ${PROJECT_BINARY_DIR}/OrvexConfigVersion.cmake COMPATIBILITY SameMinorVersion )
install( FILES ${PROJECT_BINARY_DIR}/OrvexConfig.cmake ${PROJECT_BINARY_DIR}/OrvexConfigVersion.cmake
  DESTINATION ${package_dir}
)

# Relative to the prefix also where the directories were given as absolute paths.
file( RELATIVE_PATH ORVEX_PKGCONFIG_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX} )
file( RELATIVE_PATH ORVEX_LIBDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR} )
file( RELATIVE_PATH ORVEX_INCLUDEDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR}/orvex )
configure_file( cmake/orvex.pc.in ${PROJECT_BINARY_DIR}/orvex.pc @ONLY )
install( FILES ${PROJECT_BINARY_DIR}/orvex.pc DESTINATION ${pkgconfig_dir} )
