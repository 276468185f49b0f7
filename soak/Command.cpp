#include "Command.h"

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace Orvex::Soak {

namespace {

/// What a stop at a system call has, so that no signal is taken for one.
constexpr int kSyscallStop = SIGTRAP | 0x80;

constexpr int kCannotRun = 127;

[[noreturn]] void fail( char const* what ) { throw std::system_error( errno, std::generic_category(), what ); }

/// Other threads may hold any lock, so between fork and exec there are system calls only.
pid_t start( std::vector<std::string> const& command, bool isTraced ) {
  std::vector<char*> arguments;
  arguments.reserve( command.size() + 1 );
  for ( std::string const& word : command ) arguments.push_back( const_cast<char*>( word.c_str() ) );
  arguments.push_back( nullptr );
  pid_t const child = ::fork();
  if ( child < 0 ) fail( "fork" );
  if ( child != 0 ) return child;
  int const nowhere = ::open( "/dev/null", O_RDWR );
  for ( int const stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO } ) ::dup2( nowhere, stream );
  if ( isTraced && ::ptrace( PTRACE_TRACEME, 0, nullptr, nullptr ) != 0 ) ::_exit( kCannotRun );
  if ( isTraced ) ::raise( SIGSTOP );
  ::execv( arguments.front(), arguments.data() );
  ::_exit( kCannotRun );
}

int statusOf( pid_t child ) {
  int status = 0;
  while ( ::waitpid( child, &status, __WALL ) < 0 )
    if ( errno != EINTR ) fail( "waitpid" );
  if ( WIFEXITED( status ) && WEXITSTATUS( status ) == kCannotRun )
    throw std::runtime_error( "the orvex command cannot be run, or not be traced" );
  return status;
}

void resume( pid_t child, int signal ) {
  // Null when it has been killed meanwhile, which the next wait says.
  (void)::ptrace( PTRACE_SYSCALL, child, nullptr, static_cast<long>( signal ) );
}

}  // namespace

std::string orvexPath() {
  auto const directory = std::filesystem::read_symlink( "/proc/self/exe" ).parent_path();
  for ( auto const& path : { directory / "orvex", directory.parent_path() / "cli" / "orvex" } )
    if ( std::filesystem::is_regular_file( path ) ) return path.string();
  throw std::runtime_error( "there is no orvex command beside " + directory.string() );
}

int runToItsEnd( std::vector<std::string> const& command ) { return statusOf( start( command, false ) ); }

int runAndKillAfter( std::vector<std::string> const& command, std::chrono::microseconds time ) {
  pid_t const child = start( command, false );
  std::this_thread::sleep_for( time );
  ::kill( child, SIGKILL );
  return statusOf( child );
}

TracedRun runAndKillAtStop( std::vector<std::string> const& command, std::uint64_t at ) {
  pid_t const child = start( command, true );
  TracedRun run{ statusOf( child ), 0 };
  if ( WIFSTOPPED( run.status ) )
    (void)::ptrace( PTRACE_SETOPTIONS, child, nullptr, static_cast<long>( PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL ) );
  for ( int signal = 0; WIFSTOPPED( run.status ); run.status = statusOf( child ) ) {
    int const stoppedBy = WSTOPSIG( run.status );
    if ( stoppedBy == kSyscallStop && ++run.stops == at ) {
      ::kill( child, SIGKILL );
      continue;
    }
    bool const isOfTracing = stoppedBy == kSyscallStop || stoppedBy == SIGTRAP || stoppedBy == SIGSTOP;
    signal = isOfTracing ? 0 : stoppedBy;
    resume( child, signal );
  }
  return run;
}

}  // namespace Orvex::Soak
