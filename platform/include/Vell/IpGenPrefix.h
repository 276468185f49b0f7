#pragma once

/// An IPv4 or IPv6 prefix: all addresses whose first `length` bits are those of one address.
///
/// Always canonical: the bits after the length are 0, so that equal sets of addresses are equal values.
///
///     10.1.2.3/8   is  10.0.0.0/8
///     0::0/0       is  ::/0
///
/// The address stands at the left of 128 bits, high word first, for either family. One pair of masks then serves both,
/// and an IPv4 prefix leaves the low word 0.
///
/// Order: family, then address, then length with the shorter first. In this order a prefix is followed by all prefixes
/// that it contains, and only then by others: it is the pre-order of a trie.

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "Kiv/FatalCheck.h"
#include "Kiv/Hash.h"
#include "Kiv/Value.h"
#include "Vell/AddressFamily.h"
#include "Vell/Ip6Addr.h"

namespace Vell {

class IpGenPrefix {
 public:
  static constexpr std::string_view kIpv4LengthRange = "IpGenPrefix::length < 0 or > 32 not allowed";
  static constexpr std::string_view kIpv6LengthRange = "IpGenPrefix::length < 0 or > 128 not allowed";
  static constexpr std::size_t kTextSize = Ip6Addr::kTextSize + sizeof "/128" - 1;

  /// 0.0.0.0/0
  IpGenPrefix() noexcept = default;
  /// `ipv4Address` is in host order.
  /// Fails with: Kiv::RangeException.
  IpGenPrefix( std::uint32_t ipv4Address, std::uint32_t length );
  /// Fails with: Kiv::RangeException.
  IpGenPrefix( Ip6Addr const& ipv6Address, std::uint32_t length );
  static IpGenPrefix defaultRoute( AddressFamily af );

  AddressFamily af() const noexcept { return af_; }
  std::uint32_t length() const noexcept { return length_; }
  /// Host order. Requires: the family is IPv4.
  std::uint32_t ipv4Address() const noexcept {
    KIV_CHECK( af_ == AddressFamily::ipv4 );
    return static_cast<std::uint32_t>( high_ >> 32 );
  }
  /// Requires: the family is IPv6.
  Ip6Addr ipv6Address() const noexcept {
    KIV_CHECK( af_ == AddressFamily::ipv6 );
    return { high_, low_ };
  }
  /// The address's bytes from left to right, counting from 0; those after the fourth of an IPv4 address are 0.
  std::uint8_t addressByte( std::uint32_t at ) const noexcept {
    return static_cast<std::uint8_t>( ( at < 8 ? high_ : low_ ) >> ( 56 - 8 * ( at % 8 ) ) );
  }
  bool isDefaultRoute() const noexcept { return length_ == 0; }

  /// A prefix contains itself, and nothing of the other family.
  bool contains( IpGenPrefix const& other ) const noexcept {
    return af_ == other.af_ && length_ <= other.length_ && ( ( high_ ^ other.high_ ) & highMask( length_ ) ) == 0 &&
           ( ( low_ ^ other.low_ ) & lowMask( length_ ) ) == 0;
  }
  bool contains( std::uint32_t ipv4Address ) const { return contains( IpGenPrefix( ipv4Address, 32 ) ); }
  bool contains( Ip6Addr const& ipv6Address ) const { return contains( IpGenPrefix( ipv6Address, 128 ) ); }

  std::uint32_t hash() const noexcept {
    return Kiv::IncrementalHash().add( high_ ).add( low_ ).add( af_ ).add( length_ ).result();
  }
  bool operator==( IpGenPrefix const& ) const noexcept = default;
  std::strong_ordering operator<=>( IpGenPrefix const& other ) const noexcept {
    if ( af_ != other.af_ ) return af_ <=> other.af_;
    if ( high_ != other.high_ ) return high_ <=> other.high_;
    if ( low_ != other.low_ ) return low_ <=> other.low_;
    return length_ <=> other.length_;
  }

  /// Writes at most kTextSize characters and returns where they end.
  char* toChars( char* out ) const noexcept;
  /// Fails with: Kiv::ParseException; Kiv::RangeException when the length is too large for the family.
  static IpGenPrefix read( Kiv::TextReader& reader );

 private:
  IpGenPrefix( AddressFamily af, std::uint64_t high, std::uint64_t low, std::uint32_t length );

  /// A word whose first `bits` bits are set. A shift by 64 is undefined, hence the two cases.
  static constexpr std::uint64_t leadingOnes( std::uint32_t bits ) noexcept {
    return bits == 0 ? 0 : ~std::uint64_t{ 0 } << ( 64 - bits );
  }
  static constexpr std::uint64_t highMask( std::uint32_t length ) noexcept {
    return leadingOnes( std::min( length, 64U ) );
  }
  static constexpr std::uint64_t lowMask( std::uint32_t length ) noexcept {
    return leadingOnes( length > 64 ? length - 64 : 0 );
  }

  std::uint64_t high_ = 0;
  std::uint64_t low_ = 0;
  AddressFamily af_ = AddressFamily::ipv4;
  std::uint32_t length_ = 0;
};
static_assert( sizeof( IpGenPrefix ) == 24 );

std::ostream& operator<<( std::ostream& out, IpGenPrefix const& prefix );

}  // namespace Vell
