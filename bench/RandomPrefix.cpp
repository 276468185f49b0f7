#include "RandomPrefix.h"

#include <algorithm>

namespace Orvex::Bench {

Vell::IpGenPrefix part( Vell::IpGenPrefix const& outer, std::uint32_t bits, std::uint64_t number ) {
  std::uint32_t const shift = freeBits( outer ) - bits;
  std::uint32_t const length = outer.length() + bits;
  if ( outer.af() == Vell::AddressFamily::ipv4 )
    return { outer.ipv4Address() | static_cast<std::uint32_t>( number << shift ), length };
  Vell::Ip6Addr const address = outer.ipv6Address();
  if ( shift >= 64 ) return { Vell::Ip6Addr( address.high() | number << ( shift - 64 ), address.low() ), length };
  std::uint64_t const carried = shift == 0 ? 0 : number >> ( 64 - shift );
  return { Vell::Ip6Addr( address.high() | carried, address.low() | number << shift ), length };
}

Vell::IpGenPrefix randomWithin( Vell::IpGenPrefix outer, std::uint32_t length, Random& random ) {
  while ( outer.length() != length ) {
    std::uint32_t const bits = std::min( length - outer.length(), 32U );
    outer = part( outer, bits, random.below( std::uint64_t{ 1 } << bits ) );
  }
  return outer;
}

}  // namespace Orvex::Bench
