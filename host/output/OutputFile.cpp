#include "output/OutputFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace Orvex::Host {

namespace {

constexpr std::size_t kBufferBytes = 1U << 16U;

std::string directoryOf( std::string const& path ) {
  auto const directory = std::filesystem::path( path ).parent_path();
  return directory.empty() ? "." : directory.string();
}

/// Whether it is a name of makeNewPath() for that file.
bool isNewName( std::string_view name, std::string const& fileName ) {
  std::string const before = "." + fileName + ".";
  constexpr std::string_view kAfter = ".new";
  if ( name.size() < before.size() + kAfter.size() || name.substr( 0, before.size() ) != before ) return false;
  if ( name.substr( name.size() - kAfter.size() ) != kAfter ) return false;
  std::string_view const numbers = name.substr( before.size(), name.size() - before.size() - kAfter.size() );
  std::size_t const dash = numbers.find( '-' );
  return dash != 0 && dash != std::string_view::npos && dash + 1 != numbers.size() &&
         numbers.find_first_not_of( "0123456789", dash + 1 ) == std::string_view::npos &&
         numbers.substr( 0, dash ).find_first_not_of( "0123456789" ) == std::string_view::npos;
}

/// As long as the descriptor is open. False when somebody else has it, or there are no locks here.
bool isLocked( int descriptor ) { return ::flock( descriptor, LOCK_EX | LOCK_NB ) == 0; }

/// Where a file without a name can be found by those who give it one.
std::string descriptorPath( int descriptor ) { return "/proc/self/fd/" + std::to_string( descriptor ); }

/// A link's target, also when that does not exist yet.
std::string withoutLinks( std::string const& path ) {
  std::error_code ignored;
  auto const target = std::filesystem::canonical( path, ignored );
  return ignored ? path : target.string();
}

}  // namespace

OutputError::OutputError( std::string const& path, int errorNumber )
    : std::runtime_error( "cannot write " + path + ": " + std::generic_category().message( errorNumber ) ) {}

OutputFile::OutputFile( std::string path ) : path_( std::move( path ) ) {
  buffer_.reserve( kBufferBytes );
  if ( path_ == kStandardOutput ) {
    path_ = "standard output";
    descriptor_ = STDOUT_FILENO;
    closes_ = false;
    return;
  }
  finalPath_ = withoutLinks( path_ );
  struct stat existing {};
  bool const exists = ::stat( finalPath_.c_str(), &existing ) == 0;
  if ( exists && S_ISDIR( existing.st_mode ) ) throw OutputError( path_, EISDIR );
  if ( exists && !S_ISREG( existing.st_mode ) ) {
    isInPlace_ = true;
    descriptor_ = ::open( finalPath_.c_str(), O_WRONLY | O_CLOEXEC );
    if ( descriptor_ < 0 ) fail();
    return;
  }
  if ( exists && ::access( finalPath_.c_str(), W_OK ) != 0 ) fail();
  openBeside();
  if ( exists && ::fchmod( descriptor_, existing.st_mode & 07777U ) != 0 ) {
    int const reason = errno;
    discard();
    throw OutputError( path_, reason );
  }
}

OutputFile::~OutputFile() { discard(); }

void OutputFile::discard() const {
  if ( descriptor_ >= 0 && closes_ ) ::close( descriptor_ );
  if ( !newPath_.empty() ) ::unlink( newPath_.c_str() );
}

void OutputFile::openBeside() {
  removeLeftovers();
  descriptor_ = ::open( directoryOf( finalPath_ ).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666 );
  if ( descriptor_ >= 0 && ::access( descriptorPath( descriptor_ ).c_str(), F_OK ) == 0 ) {
    isLocked( descriptor_ );
    return;
  }
  if ( descriptor_ >= 0 ) ::close( descriptor_ );
  openNamed();
}

/// Where files must have names. One that is not locked yet may be taken for a leftover: then the next name is tried.
void OutputFile::openNamed() {
  for ( ;; ) {
    newPath_ = makeNewPath();
    descriptor_ = ::open( newPath_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666 );
    if ( descriptor_ < 0 && errno == EEXIST ) continue;
    if ( descriptor_ < 0 ) {
      newPath_.clear();
      fail();
    }
    bool const isTaken = !isLocked( descriptor_ ) && errno == EWOULDBLOCK;
    struct stat made {};
    if ( !isTaken && ( ::fstat( descriptor_, &made ) != 0 || made.st_nlink != 0 ) ) return;
    ::close( descriptor_ );
  }
}

std::string OutputFile::makeNewPath() const {
  static std::atomic<unsigned> next = 0;
  return directoryOf( finalPath_ ) + "/." + std::filesystem::path( finalPath_ ).filename().string() + "." +
         std::to_string( ::getpid() ) + "-" + std::to_string( next++ ) + ".new";
}

/// Whose writer lives is locked. What cannot be seen or opened is not ours.
void OutputFile::removeLeftovers() const {
  std::string const fileName = std::filesystem::path( finalPath_ ).filename().string();
  std::error_code ignored;
  std::filesystem::directory_iterator at( directoryOf( finalPath_ ), ignored );
  for ( ; !ignored && at != std::filesystem::directory_iterator(); at.increment( ignored ) ) {
    if ( !isNewName( at->path().filename().string(), fileName ) ) continue;
    int const leftover = ::open( at->path().c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC );
    if ( leftover < 0 ) continue;
    if ( isLocked( leftover ) ) ::unlink( at->path().c_str() );
    ::close( leftover );
  }
}

void OutputFile::fail() const { throw OutputError( path_, errno ); }

void OutputFile::write( std::string_view text ) {
  buffer_ += text;
  if ( buffer_.size() >= kBufferBytes ) flush();
}

void OutputFile::flush() {
  for ( std::string_view left = buffer_; !left.empty(); ) {
    ssize_t const written = ::write( descriptor_, left.data(), left.size() );
    if ( written < 0 && errno == EINTR ) continue;
    if ( written < 0 ) fail();
    left.remove_prefix( static_cast<std::size_t>( written ) );
  }
  buffer_.clear();
}

void OutputFile::commit() {
  flush();
  if ( !closes_ ) return;
  if ( isInPlace_ ) {
    int const descriptor = descriptor_;
    descriptor_ = -1;
    if ( ::close( descriptor ) != 0 ) fail();
    return;
  }
  if ( ::fsync( descriptor_ ) != 0 ) fail();
  if ( newPath_.empty() ) giveName();
  if ( std::rename( newPath_.c_str(), finalPath_.c_str() ) != 0 ) fail();
  newPath_.clear();
  syncDirectory();
}

/// No name can be given in place of another's, so the new file gets one of its own before it gets the final one.
void OutputFile::giveName() {
  std::string const source = descriptorPath( descriptor_ );
  for ( ;; ) {
    std::string path = makeNewPath();
    if ( ::linkat( AT_FDCWD, source.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW ) == 0 ) {
      newPath_ = std::move( path );
      return;
    }
    if ( errno != EEXIST ) fail();
  }
}

/// So that the new name, too, is on the disk. Some file systems cannot; the file is whole in any case.
void OutputFile::syncDirectory() const {
  int const directory = ::open( directoryOf( finalPath_ ).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC );
  if ( directory < 0 ) return;
  ::fsync( directory );
  ::close( directory );
}

}  // namespace Orvex::Host
