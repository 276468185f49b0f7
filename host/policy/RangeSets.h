#pragma once

/// Sets of values as ranges.

#include <cstdint>

#include "policy/Policy.h"

namespace Orvex::Host {

/// What of the first set is not in the second, ascending and with gaps between its ranges. Either set may be in any order
/// and overlap itself. Cost: O(n log n) in the ranges of both.
RangeSet difference( RangeSet from, RangeSet taken );

/// The values up to `maximum` that are not in the set.
inline RangeSet complementOf( RangeSet const& ranges, std::uint32_t maximum ) {
  return difference( { { 0, maximum } }, ranges );
}

}  // namespace Orvex::Host
