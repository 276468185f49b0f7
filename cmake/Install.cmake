# Installs libOrvex, its headers, and what finds them: a CMake package and a pkg-config file. Neither holds an absolute
# path, so an installed tree may be moved. The components are "runtime", the library; "development", what programs are built
# against it with; and "command", which cli/CMakeLists.txt adds to.

include( CMakePackageConfigHelpers )
include( GNUInstallDirs )

# The headers name each other "Orvex/...", "Kiv/...", "Brae/..." and "Vell/...": all stand in one directory of their own.
set( header_dir ${CMAKE_INSTALL_INCLUDEDIR}/orvex )
set( package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Orvex )
set( pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig )

install( TARGETS Orvex EXPORT OrvexTargets
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${header_dir}
)
install( DIRECTORY include/ platform/include/ DESTINATION ${header_dir} COMPONENT development
  FILES_MATCHING PATTERN "*.h"
)

install( EXPORT OrvexTargets NAMESPACE Orvex:: DESTINATION ${package_dir} COMPONENT development )
configure_package_config_file( cmake/OrvexConfig.cmake.in ${PROJECT_BINARY_DIR}/OrvexConfig.cmake
  INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO
)
write_basic_package_version_file( ${PROJECT_BINARY_DIR}/OrvexConfigVersion.cmake COMPATIBILITY SameMinorVersion )
install( FILES ${PROJECT_BINARY_DIR}/OrvexConfig.cmake ${PROJECT_BINARY_DIR}/OrvexConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development
)

# Relative to the prefix also where the directories were given as absolute paths.
file( RELATIVE_PATH ORVEX_PKGCONFIG_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX} )
file( RELATIVE_PATH ORVEX_LIBDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR} )
file( RELATIVE_PATH ORVEX_INCLUDEDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR}/orvex )
configure_file( cmake/orvex.pc.in ${PROJECT_BINARY_DIR}/orvex.pc @ONLY )
install( FILES ${PROJECT_BINARY_DIR}/orvex.pc DESTINATION ${pkgconfig_dir} COMPONENT development )

# Documents and examples stand to each other as they do here, so that links between them hold; those into the sources lead
# nowhere.
set( doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/orvex )
install( FILES README.md LICENSE DESTINATION ${doc_dir} COMPONENT command )
install( DIRECTORY docs DESTINATION ${doc_dir} COMPONENT command
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.webp" PATTERN embedding.md EXCLUDE
)
install( DIRECTORY examples DESTINATION ${doc_dir} COMPONENT command
  PATTERN driver EXCLUDE
  PATTERN stages EXCLUDE
)
install( FILES docs/embedding.md DESTINATION ${doc_dir}/docs COMPONENT development )
install( DIRECTORY examples/driver DESTINATION ${doc_dir}/examples COMPONENT development )
