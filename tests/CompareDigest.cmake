# Runs PROGRAM with ARGUMENT, and compares the SHA-256 of what it prints with WANT.
execute_process( COMMAND ${PROGRAM} ${ARGUMENT} OUTPUT_FILE ${OUTPUT} RESULT_VARIABLE result )
if( NOT result EQUAL 0 )
  message( FATAL_ERROR "${PROGRAM} ${ARGUMENT} ended with ${result}" )
endif()
file( SHA256 ${OUTPUT} have )
if( NOT have STREQUAL WANT )
  message( FATAL_ERROR "${ARGUMENT}: SHA-256 is ${have}, not ${WANT}; the text is in ${OUTPUT}" )
endif()
