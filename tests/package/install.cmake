# Installs the build tree BUILD into PREFIX, where nothing of an earlier installation is left.
file( REMOVE_RECURSE ${PREFIX} )
execute_process( COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${PREFIX} COMMAND_ERROR_IS_FATAL ANY )
