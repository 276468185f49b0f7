// Loaded before the C library (LD_PRELOAD), lets one call of a process fail.
//
//     FAILING_CALL=write FAILING_AT=3 FAILING_HOW=28      the third write fails with error number 28
//     FAILING_CALL=write FAILING_AT=3 FAILING_HOW=short   it writes one byte
//     FAILING_MARK=/tmp/mark                              made when the fault was met
//     FAILING_NAMELESS=1                                  besides, no file can be made without a name

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace {

template <class Function>
Function* next( char const* name ) {
  return reinterpret_cast<Function*>( dlsym( RTLD_NEXT, name ) );
}

/// Whether this call is the one; then the mark is made, and errno set unless the call is to be cut short.
bool fails( char const* call ) {
  static int calls = 0;
  char const* const which = std::getenv( "FAILING_CALL" );
  if ( which == nullptr || std::strcmp( which, call ) != 0 || ++calls != std::atoi( std::getenv( "FAILING_AT" ) ) )
    return false;
  long const mark =
      syscall( SYS_openat, AT_FDCWD, std::getenv( "FAILING_MARK" ), O_WRONLY | O_CREAT | O_CLOEXEC, 0666 );
  syscall( SYS_close, mark );
  errno = std::atoi( std::getenv( "FAILING_HOW" ) );
  return true;
}

}  // namespace

extern "C" {

int open( char const* path, int flags, ... ) {
  va_list arguments;
  va_start( arguments, flags );
  mode_t const mode = va_arg( arguments, mode_t );
  va_end( arguments );
  if ( ( flags & O_TMPFILE ) == O_TMPFILE && std::getenv( "FAILING_NAMELESS" ) != nullptr ) {
    errno = EOPNOTSUPP;
    return -1;
  }
  return fails( "open" ) ? -1 : next<int( char const*, int, ... )>( "open" )( path, flags, mode );
}

ssize_t write( int descriptor, void const* data, size_t size ) {
  auto* const real = next<ssize_t( int, void const*, size_t )>( "write" );
  if ( !fails( "write" ) ) return real( descriptor, data, size );
  return errno == 0 ? real( descriptor, data, size == 0 ? 0 : 1 ) : -1;
}

int fsync( int descriptor ) { return fails( "fsync" ) ? -1 : next<int( int )>( "fsync" )( descriptor ); }

int close( int descriptor ) {
  int const result = next<int( int )>( "close" )( descriptor );
  return fails( "close" ) ? -1 : result;
}

int rename( char const* from, char const* to ) {
  return fails( "rename" ) ? -1 : next<int( char const*, char const* )>( "rename" )( from, to );
}

int linkat( int fromDirectory, char const* from, int toDirectory, char const* to, int flags ) {
  if ( fails( "linkat" ) ) return -1;
  return next<int( int, char const*, int, char const*, int )>( "linkat" )( fromDirectory, from, toDirectory, to,
                                                                           flags );
}

int fchmod( int descriptor, mode_t mode ) {
  return fails( "fchmod" ) ? -1 : next<int( int, mode_t )>( "fchmod" )( descriptor, mode );
}

int flock( int descriptor, int operation ) noexcept {
  return fails( "flock" ) ? -1 : next<int( int, int )>( "flock" )( descriptor, operation );
}

int access( char const* path, int mode ) {
  return fails( "access" ) ? -1 : next<int( char const*, int )>( "access" )( path, mode );
}
}
