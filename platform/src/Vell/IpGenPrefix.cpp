#include "Vell/IpGenPrefix.h"

#include <charconv>
#include <limits>
#include <ostream>
#include <string>
#include <type_traits>

#include "Kiv/Exception.h"
#include "Vell/Ip4Addr.h"

namespace Vell {

static_assert( std::is_trivially_copyable_v<IpGenPrefix> );

namespace {

/// IPv6 text has a colon before any character that may follow an address.
bool atIpv6( Kiv::TextReader ahead ) {
  ahead.until( ":/,} " );
  return ahead.rest().starts_with( ':' );
}

/// A number too large for the type comes back as the type's largest, which no family allows.
std::uint32_t readLength( Kiv::TextReader& reader, AddressFamily af ) {
  std::string_view const rest = reader.rest();
  std::uint32_t length = 0;
  auto const [end, error] = std::from_chars( rest.data(), rest.data() + rest.size(), length );
  auto const digits = static_cast<std::size_t>( end - rest.data() );
  if ( digits == 0 ) reader.fail( "a number from 0 to " + std::to_string( addressWidthBits( af ) ) );
  if ( digits > 1 && rest[0] == '0' ) reader.fail( "a number without leading zeros" );
  reader.advance( digits );
  return error == std::errc::result_out_of_range ? std::numeric_limits<std::uint32_t>::max() : length;
}

}  // namespace

IpGenPrefix::IpGenPrefix( AddressFamily af, std::uint64_t high, std::uint64_t low, std::uint32_t length )
    : af_( af ), length_( length ) {
  Kiv::checkRange( length, 0U, addressWidthBits( af ),
                   af == AddressFamily::ipv4 ? kIpv4LengthRange : kIpv6LengthRange );
  high_ = high & highMask( length );
  low_ = low & lowMask( length );
}

IpGenPrefix::IpGenPrefix( std::uint32_t ipv4Address, std::uint32_t length )
    : IpGenPrefix( AddressFamily::ipv4, std::uint64_t{ ipv4Address } << 32, 0, length ) {}

IpGenPrefix::IpGenPrefix( Ip6Addr const& ipv6Address, std::uint32_t length )
    : IpGenPrefix( AddressFamily::ipv6, ipv6Address.high(), ipv6Address.low(), length ) {}

IpGenPrefix IpGenPrefix::defaultRoute( AddressFamily af ) { return { af, 0, 0, 0 }; }

char* IpGenPrefix::toChars( char* out ) const noexcept {
  out = af_ == AddressFamily::ipv4 ? ip4AddrToChars( out, ipv4Address() ) : ipv6Address().toChars( out );
  *out++ = '/';
  return std::to_chars( out, out + 3, length_ ).ptr;
}

IpGenPrefix IpGenPrefix::read( Kiv::TextReader& reader ) {
  if ( atIpv6( reader ) ) {
    Ip6Addr const address = Ip6Addr::read( reader );
    reader.expect( "/" );
    return { address, readLength( reader, AddressFamily::ipv6 ) };
  }
  std::uint32_t const address = readIp4Addr( reader );
  reader.expect( "/" );
  return { address, readLength( reader, AddressFamily::ipv4 ) };
}

std::ostream& operator<<( std::ostream& out, IpGenPrefix const& prefix ) {
  char text[IpGenPrefix::kTextSize];
  return out << std::string_view( text, static_cast<std::size_t>( prefix.toChars( text ) - text ) );
}

}  // namespace Vell
