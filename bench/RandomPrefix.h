#pragma once

/// Prefixes within prefixes, in either family.

#include <cstdint>

#include "Vell/IpGenPrefix.h"
#include "packets/Random.h"

namespace Orvex::Bench {

/// How many bits a prefix can still be lengthened by.
inline std::uint32_t freeBits( Vell::IpGenPrefix const& prefix ) {
  return Vell::addressWidthBits( prefix.af() ) - prefix.length();
}

/// `outer` is cut into 2^bits equal parts; this is the one with the number, counting from 0: part 5 of the 2^8 parts of
/// 10.0.0.0/8 is 10.5.0.0/16.
/// Requires: 0 < bits <= freeBits( outer ), bits <= 64, number < 2^bits.
Vell::IpGenPrefix part( Vell::IpGenPrefix const& outer, std::uint32_t bits, std::uint64_t number );

/// A random prefix of the length within `outer`; `outer` itself when that is its length.
/// Requires: outer.length() <= length <= the width of the family.
Vell::IpGenPrefix randomWithin( Vell::IpGenPrefix outer, std::uint32_t length, Random& random );

}  // namespace Orvex::Bench
