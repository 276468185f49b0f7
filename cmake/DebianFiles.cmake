# Run by CPack on what it is about to pack: adds what Debian's policy wants of every package, compresses manual pages and the
# changelog, and sets the time that files bear.

if( NOT DEFINED ENV{SOURCE_DATE_EPOCH} )
  set( ENV{SOURCE_DATE_EPOCH} ${CPACK_ORVEX_RELEASE_EPOCH} )
endif()
foreach( component IN LISTS CPACK_COMPONENTS_ALL )
  string( TOUPPER ${component} upper )
  set( share ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share )
  set( own_doc ${share}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME} )
  file( COPY ${CPACK_ORVEX_DEBIAN_FILES} DESTINATION ${own_doc} )
  file( REMOVE ${own_doc}/LICENSE )  # which copyright names
  file( GLOB pages ${share}/man/man1/*.1 )
  execute_process( COMMAND gzip -9nf ${own_doc}/changelog ${pages} COMMAND_ERROR_IS_FATAL ANY )
endforeach()
