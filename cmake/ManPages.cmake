# Writes orvex.1 and a page for each command of "orvex --help" into OUTPUT, from what --help and --version print and from the
# sections in INCLUDES. Needs ORVEX, HELP2MAN and EPOCH, the time that the pages bear.

file( REMOVE_RECURSE ${OUTPUT} )
file( MAKE_DIRECTORY ${OUTPUT} )
if( NOT DEFINED ENV{SOURCE_DATE_EPOCH} )
  set( ENV{SOURCE_DATE_EPOCH} ${EPOCH} )
endif()

# The name and description of a page are in an include file, since help2man would name every page after the program.
function( man_page page help_option description see_also )
  file( WRITE ${OUTPUT}/${page}.h2m "[NAME]\n${page} \\- ${description}\n${see_also}" )
  string( REPLACE "orvex-" "" include ${page} )
  execute_process(
    COMMAND ${HELP2MAN} --no-info --help-option=${help_option} --include=${OUTPUT}/${page}.h2m
      --opt-include=${INCLUDES}/${include}.h2m --output=${OUTPUT}/${page}.1 ${ORVEX}
    COMMAND_ERROR_IS_FATAL ANY
  )
  file( REMOVE ${OUTPUT}/${page}.h2m )
  file( READ ${OUTPUT}/${page}.1 text )
  string( REPLACE ".SS \"Exit status:\"" ".SH \"EXIT STATUS\"" text "${text}" )
  string( REPLACE ".SS \"Commands:\"" ".SH COMMANDS" text "${text}" )
  file( WRITE ${OUTPUT}/${page}.1 "${text}" )
endfunction()

execute_process( COMMAND ${ORVEX} --help OUTPUT_VARIABLE help COMMAND_ERROR_IS_FATAL ANY )
string( REGEX REPLACE ".*\nCommands:\n(.*)\n\nExit status:.*" "\\1" commands "${help}" )
string( REPLACE "\n" ";" commands "${commands}" )
set( all_pages "" )
foreach( line IN LISTS commands )
  string( REGEX MATCH "^  ([a-z]+) +(.*)$" line "${line}" )
  set( command ${CMAKE_MATCH_1} )
  man_page( orvex-${command} "${command} --help" "${CMAKE_MATCH_2}" "\n[SEE ALSO]\n.BR orvex (1)\n" )
  list( APPEND all_pages ".BR orvex\\-${command} (1)" )
endforeach()
list( JOIN all_pages ",\n" all_pages )
man_page( orvex --help "compile access-control policy into ternary tables" "\n[SEE ALSO]\n${all_pages}\n" )
