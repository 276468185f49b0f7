#pragma once

/// A 128-bit IPv6 address.
///
/// Its text may have any form that RFC 4291 section 2.2 allows, and is printed in the one form that RFC 5952
/// recommends:
///
///     read      2001:DB8:0:0:0:0:0:1    0::0    0:0:0:0:0:FFFF:10.0.0.1    ::FFFF:A00:1
///     printed   2001:db8::1             ::      ::ffff:10.0.0.1            ::ffff:10.0.0.1
///
/// The last four bytes are printed as a dotted quad where the address is IPv4-mapped (::ffff:0:0/96), nowhere else.

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>

#include "Kiv/Hash.h"
#include "Kiv/Value.h"

namespace Vell {

class Ip6Addr {
 public:
  static constexpr std::size_t kTextSize = sizeof "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" - 1;

  constexpr Ip6Addr() noexcept = default;
  /// The first and the last 64 bits, each in host order.
  constexpr Ip6Addr( std::uint64_t high, std::uint64_t low ) noexcept : high_( high ), low_( low ) {}

  constexpr std::uint64_t high() const noexcept { return high_; }
  constexpr std::uint64_t low() const noexcept { return low_; }

  constexpr std::uint32_t hash() const noexcept { return Kiv::IncrementalHash().add( high_ ).add( low_ ).result(); }
  constexpr bool operator==( Ip6Addr const& ) const noexcept = default;
  constexpr std::strong_ordering operator<=>( Ip6Addr const& ) const noexcept = default;

  /// Writes at most kTextSize characters and returns where they end.
  char* toChars( char* out ) const noexcept;
  /// Fails with: Kiv::ParseException.
  static Ip6Addr read( Kiv::TextReader& reader );

 private:
  std::uint64_t high_ = 0;
  std::uint64_t low_ = 0;
};

std::ostream& operator<<( std::ostream& out, Ip6Addr const& address );

}  // namespace Vell
