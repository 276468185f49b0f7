#include "Apart.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>

namespace Orvex::Soak {

namespace {

constexpr int kThrew = 3;

[[noreturn]] void runChild( std::function<void()> const& work, unsigned seconds, int output ) {
  ::dup2( output, STDERR_FILENO );
  std::signal( SIGALRM, SIG_DFL );
  ::alarm( seconds );
  int status = 0;
  try {
    work();
  } catch ( std::exception const& failure ) {
    std::fputs( failure.what(), stderr );
    status = kThrew;
  }
  std::fflush( stderr );
  ::_exit( status );
}

std::string textFrom( int input ) {
  std::string text;
  std::array<char, 4096> buffer{};
  for ( ;; ) {
    ssize_t const count = ::read( input, buffer.data(), buffer.size() );
    if ( count < 0 && errno == EINTR ) continue;
    if ( count <= 0 ) return text;
    text.append( buffer.data(), static_cast<std::size_t>( count ) );
  }
}

ApartEnding endingOf( int status ) {
  if ( WIFSIGNALED( status ) && WTERMSIG( status ) == SIGABRT ) return ApartEnding::stopped;
  if ( WIFSIGNALED( status ) && WTERMSIG( status ) == SIGALRM ) return ApartEnding::hung;
  if ( WIFEXITED( status ) && WEXITSTATUS( status ) == 0 ) return ApartEnding::returned;
  return WIFEXITED( status ) && WEXITSTATUS( status ) == kThrew ? ApartEnding::threw : ApartEnding::crashed;
}

[[noreturn]] void fail( char const* what ) { throw std::system_error( errno, std::generic_category(), what ); }

}  // namespace

ApartResult runApart( std::function<void()> const& work, unsigned seconds ) {
  std::array<int, 2> ends{};
  if ( ::pipe2( ends.data(), O_CLOEXEC ) != 0 ) fail( "pipe" );
  pid_t const child = ::fork();
  if ( child == 0 ) runChild( work, seconds, ends[1] );
  ::close( ends[1] );
  if ( child < 0 ) fail( "fork" );
  ApartResult result{ ApartEnding::crashed, textFrom( ends[0] ) };
  ::close( ends[0] );
  int status = 0;
  while ( ::waitpid( child, &status, 0 ) < 0 && errno == EINTR ) continue;
  result.ending = endingOf( status );
  return result;
}

}  // namespace Orvex::Soak
