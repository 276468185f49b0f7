#include "compare/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <sstream>
#include <system_error>

namespace Orvex::Bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostErrorBytes = 4096;

void check( int error, std::string const& what ) {
  if ( error != 0 ) throw std::system_error( error, std::generic_category(), what );
}

class Pipe {
 public:
  Pipe() { check( pipe2( ends_.data(), O_CLOEXEC ) == 0 ? 0 : errno, "pipe" ); }
  ~Pipe() {
    close( ends_[0] );
    closeWriteEnd();
  }
  Pipe( Pipe const& ) = delete;
  Pipe& operator=( Pipe const& ) = delete;

  int readEnd() const { return ends_[0]; }
  int writeEnd() const { return ends_[1]; }
  void closeWriteEnd() {
    if ( ends_[1] >= 0 ) close( ends_[1] );
    ends_[1] = -1;
  }

 private:
  std::array<int, 2> ends_{};
};

pid_t start( std::vector<std::string> words, Pipe& output, Pipe& errors ) {
  std::vector<char*> arguments;
  arguments.reserve( words.size() + 1 );
  for ( std::string& word : words ) arguments.push_back( word.data() );
  arguments.push_back( nullptr );
  posix_spawn_file_actions_t actions;
  check( posix_spawn_file_actions_init( &actions ), "posix_spawn" );
  posix_spawn_file_actions_addopen( &actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0 );
  posix_spawn_file_actions_adddup2( &actions, output.writeEnd(), STDOUT_FILENO );
  posix_spawn_file_actions_adddup2( &actions, errors.writeEnd(), STDERR_FILENO );
  pid_t child = 0;
  int const error = posix_spawnp( &child, words.front().c_str(), &actions, nullptr, arguments.data(), environ );
  posix_spawn_file_actions_destroy( &actions );
  check( error, words.front() );
  output.closeWriteEnd();
  errors.closeWriteEnd();
  return child;
}

/// Until the child has closed both. False when the limit comes first.
bool readBoth( Pipe const& output, Pipe const& errors, Clock::time_point end, ChildResult& result ) {
  std::array<pollfd, 2> waiting = { pollfd{ output.readEnd(), POLLIN, 0 }, pollfd{ errors.readEnd(), POLLIN, 0 } };
  std::array<char, 65536> buffer{};
  while ( waiting[0].fd >= 0 || waiting[1].fd >= 0 ) {
    auto const left = std::chrono::duration_cast<std::chrono::milliseconds>( end - Clock::now() ).count();
    if ( left <= 0 ) return false;
    if ( poll( waiting.data(), waiting.size(), static_cast<int>( left ) ) <= 0 ) continue;
    for ( pollfd& each : waiting ) {
      if ( each.fd < 0 || each.revents == 0 ) continue;
      ssize_t const count = read( each.fd, buffer.data(), buffer.size() );
      std::string& text = &each == waiting.data() ? result.output : result.errors;
      if ( count > 0 )
        text.append( buffer.data(), static_cast<std::size_t>( count ) );
      else
        each.fd = -1;
    }
  }
  return true;
}

double secondsOf( timeval const& time ) {
  return static_cast<double>( time.tv_sec ) + 1e-6 * static_cast<double>( time.tv_usec );
}

}  // namespace

ChildResult runChild( std::vector<std::string> const& words, std::chrono::duration<double> limit ) {
  ChildResult result;
  Pipe output;
  Pipe errors;
  auto const began = Clock::now();
  pid_t const child = start( words, output, errors );
  bool const inTime = readBoth( output, errors, began + std::chrono::duration_cast<Clock::duration>( limit ), result );
  if ( !inTime ) kill( child, SIGKILL );
  int status = 0;
  rusage usage{};
  while ( wait4( child, &status, 0, &usage ) < 0 )
    if ( errno != EINTR ) check( errno, "wait4" );
  result.wallSeconds = std::chrono::duration<double>( Clock::now() - began ).count();
  result.ended = inTime && WIFEXITED( status );
  result.exitStatus = WIFEXITED( status ) ? WEXITSTATUS( status ) : 0;
  result.cpuSeconds = secondsOf( usage.ru_utime ) + secondsOf( usage.ru_stime );
  result.peakBytes = 1024 * static_cast<std::uint64_t>( usage.ru_maxrss );
  if ( result.errors.size() > kMostErrorBytes ) result.errors.resize( kMostErrorBytes );
  return result;
}

std::map<std::string, double> factsOf( std::string const& output ) {
  std::map<std::string, double> facts;
  std::istringstream in( output );
  for ( std::string line; std::getline( in, line ); ) {
    std::istringstream words( line );
    std::string name;
    double value = 0;
    if ( words >> name >> value ) facts[name] = value;
  }
  return facts;
}

}  // namespace Orvex::Bench
