#include "packets/CaptureFile.h"

#include <pcap/pcap.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace Orvex::Host {

namespace {

std::optional<LinkType> linkTypeOf( int dataLink ) {
  switch ( dataLink ) {
    case DLT_EN10MB:
      return LinkType::ethernet;
    case DLT_LINUX_SLL:
      return LinkType::linuxCooked;
    case DLT_LINUX_SLL2:
      return LinkType::linuxCooked2;
    case DLT_RAW:
    case DLT_IPV4:
    case DLT_IPV6:
      return LinkType::rawIp;
    default:
      return std::nullopt;
  }
}

std::string dataLinkText( int dataLink ) {
  char const* const description = pcap_datalink_val_to_description( dataLink );
  return description ? description : "number " + std::to_string( dataLink );
}

}  // namespace

void CaptureFile::Closer::operator()( pcap* capture ) const { pcap_close( capture ); }

CaptureFile::CaptureFile( std::string const& path ) : name_( path == kStandardInput ? "standard input" : path ) {
  open( path );
  int const dataLink = pcap_datalink( capture_.get() );
  auto const linkType = linkTypeOf( dataLink );
  if ( !linkType )
    fail( "captures of link type " + dataLinkText( dataLink ) +
          " are not decoded; Ethernet, Linux cooked and raw IP are" );
  linkType_ = *linkType;
}

void CaptureFile::open( std::string const& path ) {
  std::FILE* const file = path == kStandardInput ? stdin : std::fopen( path.c_str(), "rb" );
  if ( !file ) fail( std::strerror( errno ) );
  std::array<char, PCAP_ERRBUF_SIZE> problem{};
  capture_.reset( pcap_fopen_offline( file, problem.data() ) );
  if ( !capture_ ) {
    if ( file != stdin ) (void)std::fclose( file );
    fail( problem.data() );
  }
  struct stat status = {};
  if ( fstat( fileno( file ), &status ) == 0 && S_ISREG( status.st_mode ) )
    size_ = static_cast<std::uint64_t>( status.st_size );
}

std::optional<Frame> CaptureFile::next() {
  pcap_pkthdr* header = nullptr;
  u_char const* bytes = nullptr;
  int const result = pcap_next_ex( capture_.get(), &header, &bytes );
  if ( result == PCAP_ERROR_BREAK ) return std::nullopt;
  if ( result != 1 )
    fail( std::string( pcap_geterr( capture_.get() ) ) + "; packets before that: " + std::to_string( frames_ ) );
  ++frames_;
  return Frame{ { bytes, header->caplen }, header->len };
}

std::optional<unsigned> CaptureFile::percentRead() const {
  if ( size_ == 0 ) return std::nullopt;
  auto const at = ftello( pcap_file( capture_.get() ) );
  if ( at < 0 ) return std::nullopt;
  return static_cast<unsigned>( std::min<std::uint64_t>( static_cast<std::uint64_t>( at ) * 100 / size_, 100 ) );
}

void CaptureFile::fail( std::string const& problem ) const { throw CaptureError( name_ + ": " + problem ); }

}  // namespace Orvex::Host
