#pragma once

/// Addresses as numbers of up to 128 bits; the last bit of an address counts 1.

#include "Vell/AddressFamily.h"
#include "Vell/IpGenPrefix.h"

namespace Orvex::Host {

__extension__ using AddressNumber = unsigned __int128;

/// `bits` ones, up to 128.
constexpr AddressNumber ones( std::uint32_t bits ) {
  return bits == 0 ? AddressNumber{ 0 } : ~AddressNumber{ 0 } >> ( 128 - bits );
}

/// Bits beyond the length are cut.
inline Vell::IpGenPrefix prefixOf( Vell::AddressFamily family, AddressNumber address, std::uint32_t length ) {
  if ( family == Vell::AddressFamily::ipv4 ) return { static_cast<std::uint32_t>( address ), length };
  return { Vell::Ip6Addr( static_cast<std::uint64_t>( address >> 64 ), static_cast<std::uint64_t>( address ) ),
           length };
}

/// A prefix of full length; numbers beyond the family's last address begin again at the first.
inline Vell::IpGenPrefix addressOf( Vell::AddressFamily family, AddressNumber address ) {
  std::uint32_t const width = Vell::addressWidthBits( family );
  return prefixOf( family, address & ones( width ), width );
}

inline AddressNumber firstOf( Vell::IpGenPrefix const& prefix ) {
  if ( prefix.af() == Vell::AddressFamily::ipv4 ) return prefix.ipv4Address();
  return AddressNumber{ prefix.ipv6Address().high() } << 64 | prefix.ipv6Address().low();
}

inline AddressNumber lastOf( Vell::IpGenPrefix const& prefix ) {
  return firstOf( prefix ) | ones( Vell::addressWidthBits( prefix.af() ) - prefix.length() );
}

}  // namespace Orvex::Host
