# The installed library, as a program outside of this tree finds and uses it.

set( package_dir ${CMAKE_CURRENT_BINARY_DIR}/package )
set( package_flags "${CMAKE_CXX_FLAGS}" )
if( ORVEX_SANITIZERS )
  string( APPEND package_flags " -fsanitize=${ORVEX_SANITIZERS} -fno-sanitize-recover=all" )
endif()
separate_arguments( package_flag_list UNIX_COMMAND "${package_flags}" )

add_test( NAME Package.ExportsOnlyItsNamespaces
  COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/package/exports.sh $<TARGET_FILE:Orvex>
)
add_test( NAME Package.Installs
  COMMAND ${CMAKE_COMMAND} -D BUILD=${PROJECT_BINARY_DIR} -D PREFIX=${package_dir}/prefix
    -P ${CMAKE_CURRENT_SOURCE_DIR}/package/install.cmake
)

# Builds a project that stands outside of this tree, and runs its program.
function( outside_project_test test_name source_dir program )
  add_test( NAME ${test_name}
    COMMAND ${CMAKE_CTEST_COMMAND}
      --build-and-test ${source_dir} ${package_dir}/${program}
      --build-generator ${CMAKE_GENERATOR}
      --build-options
        -DCMAKE_MAKE_PROGRAM=${CMAKE_MAKE_PROGRAM}
        -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}
        -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE}
        -DCMAKE_CXX_FLAGS=${package_flags}
        -DCMAKE_PREFIX_PATH=${package_dir}/prefix
      --test-command ${program}
  )
endfunction()

outside_project_test( Package.IsFoundByCMake ${CMAKE_CURRENT_SOURCE_DIR}/package package_program )
outside_project_test( Package.BuildsTheDriverExample ${PROJECT_SOURCE_DIR}/examples/driver driver_example )
add_test( NAME Package.IsFoundByPkgConfig
  COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/package/pkg-config.sh ${package_dir}/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig
    ${package_dir}/pkg_config_program ${CMAKE_CXX_COMPILER} ${package_flag_list}
)
set( installed_package_tests Package.IsFoundByCMake Package.BuildsTheDriverExample Package.IsFoundByPkgConfig )
set_tests_properties( Package.ExportsOnlyItsNamespaces Package.Installs ${installed_package_tests}
  PROPERTIES LABELS package_tests TIMEOUT 300
)
set_tests_properties( Package.Installs PROPERTIES FIXTURES_SETUP installed_package )
set_tests_properties( ${installed_package_tests} PROPERTIES FIXTURES_REQUIRED installed_package )
set_tests_properties( Package.IsFoundByPkgConfig PROPERTIES SKIP_RETURN_CODE 77 )

# Packages are made of what users run, where there is what makes them.
find_program( DPKG_SHLIBDEPS dpkg-shlibdeps )
if( ORVEX_HOST AND DPKG_SHLIBDEPS AND NOT ORVEX_SANITIZERS AND CMAKE_BUILD_TYPE STREQUAL "Release" )
  add_test( NAME Package.DebianPackagesAreMade
    COMMAND ${CMAKE_CPACK_COMMAND} -G DEB --config ${PROJECT_BINARY_DIR}/CPackConfig.cmake -B ${package_dir}/debian
  )
  add_test( NAME Package.DebianPackagesHoldWhatTheyShould
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/package/debian.sh ${package_dir}/debian ${package_dir}/unpacked ${CMAKE_CXX_COMPILER}
  )
  set_tests_properties( Package.DebianPackagesAreMade PROPERTIES FIXTURES_SETUP debian_packages )
  set_tests_properties( Package.DebianPackagesHoldWhatTheyShould PROPERTIES FIXTURES_REQUIRED debian_packages )
  set_tests_properties( Package.DebianPackagesAreMade Package.DebianPackagesHoldWhatTheyShould
    PROPERTIES LABELS package_tests TIMEOUT 300
  )
endif()
