#include "StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "output/OutputFile.h"

namespace Orvex::Cli {

/// The lowest number that is free is taken, so one at a time from 0 on. Each stream gets the rights that it does not need.
void occupyClosedStreams() {
  for ( int const stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO } ) {
    if ( ::fcntl( stream, F_GETFD ) >= 0 ) continue;
    (void)::open( "/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY );
  }
}

void tell( std::string_view text ) { (void)std::fwrite( text.data(), 1, text.size(), stderr ); }

/// An earlier write that failed has left no number, and standard output no reason.
void endStandardOutput() {
  errno = 0;
  bool const failed = std::ferror( stdout ) != 0;
  if ( std::fflush( stdout ) != 0 || failed ) throw Host::OutputError( "standard output", errno == 0 ? EIO : errno );
}

}  // namespace Orvex::Cli
