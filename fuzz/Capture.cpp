/// Capture files, as libpcap reads them.

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "FuzzTarget.h"
#include "packets/CaptureFile.h"

namespace Orvex::Fuzz {

namespace {

/// A file in memory, which has a path as others have.
class MemoryFile {
 public:
  explicit MemoryFile( std::string_view content ) : descriptor_( memfd_create( "capture", 0 ) ) {
    bool const isWritten = descriptor_ >= 0 && write( descriptor_, content.data(), content.size() ) ==
                                                   static_cast<ssize_t>( content.size() );
    require( isWritten, "this machine gives no file in memory" );
  }
  ~MemoryFile() { (void)close( descriptor_ ); }
  MemoryFile( MemoryFile const& ) = delete;
  MemoryFile& operator=( MemoryFile const& ) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string( descriptor_ ); }

 private:
  int descriptor_;
};

void readAll( Host::CaptureFile& capture, std::size_t size ) {
  std::uint64_t frames = 0;
  while ( auto const frame = capture.next() ) {
    require( capture.frames() == ++frames, "the frames are miscounted" );
    require( frame->captured.size() <= size, "a frame is larger than the file" );
    auto const decoded = decode( capture.linkType(), *frame );
    if ( auto const* const packet = std::get_if<Verify::Packet>( &decoded ) ) (void)familyOf( *packet );
    require( capture.percentRead().value_or( 0 ) <= 100, "more than the file is read" );
  }
}

}  // namespace

void oneInput( std::string_view input ) {
  MemoryFile const file( input );
  try {
    Host::CaptureFile capture( file.path() );
    readAll( capture, input.size() );
  } catch ( Host::CaptureError const& error ) {
    require( std::string_view( error.what() ).starts_with( file.path() + ": " ), "a message does not name its file" );
  }
}

}  // namespace Orvex::Fuzz
