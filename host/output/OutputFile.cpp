#include "output/OutputFile.h"

#include <fcntl.h>
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
    descriptor_ = ::open( finalPath_.c_str(), O_WRONLY | O_CLOEXEC );
    if ( descriptor_ < 0 ) fail();
    return;
  }
  if ( exists && ::access( finalPath_.c_str(), W_OK ) != 0 ) fail();
  openBeside();
  if ( exists && ::fchmod( descriptor_, existing.st_mode & 07777U ) != 0 ) fail();
}

OutputFile::~OutputFile() {
  if ( descriptor_ >= 0 && closes_ ) ::close( descriptor_ );
  if ( !newPath_.empty() ) ::unlink( newPath_.c_str() );
}

void OutputFile::openBeside() {
  static std::atomic<unsigned> next = 0;
  auto const name = std::filesystem::path( finalPath_ ).filename().string();
  do {
    newPath_ = directoryOf( finalPath_ ) + "/." + name + "." + std::to_string( ::getpid() ) + "-" +
               std::to_string( next++ ) + ".new";
    descriptor_ = ::open( newPath_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666 );
  } while ( descriptor_ < 0 && errno == EEXIST );
  if ( descriptor_ >= 0 ) return;
  newPath_.clear();
  fail();
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
  if ( !newPath_.empty() && ::fsync( descriptor_ ) != 0 ) fail();
  int const descriptor = descriptor_;
  descriptor_ = -1;
  if ( ::close( descriptor ) != 0 ) fail();
  if ( newPath_.empty() ) return;
  if ( std::rename( newPath_.c_str(), finalPath_.c_str() ) != 0 ) fail();
  newPath_.clear();
  syncDirectory();
}

/// So that the new name, too, is on the disk. Some file systems cannot; the file is whole in any case.
void OutputFile::syncDirectory() const {
  int const directory = ::open( directoryOf( finalPath_ ).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC );
  if ( directory < 0 ) return;
  ::fsync( directory );
  ::close( directory );
}

}  // namespace Orvex::Host
