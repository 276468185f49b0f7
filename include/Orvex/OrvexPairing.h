#pragma once

/// Good blocks for sets that overlap in any way, as lists of many prefixes do: what is in the same sets is put side by side.
///
/// The pair of parts whose common sets weigh most becomes one block, which is in the sets that both are in, and so on until no
/// two blocks have a set in common. Of pairs that weigh the same, the one that wastes fewer values is taken.
///
///     a {1 2 3}   b {1 2}   c {3}        a with b: 1 and 2        then nothing: c is in neither
///
/// Where pairs with one set in common are many and alike, it matters more that few sets get blocks of what is left: so the
/// other way joins pairs with two sets in common or more, and then gives each set in turn, the one that saves most first, all
/// that no other has got. The better of both is taken.
///
/// Not all pairs are looked at when there are many. Parts stand in orders in which those with common sets are near each other,
/// and each is a candidate for those beside it; a block inherits the candidates of its two halves. When no candidates are left,
/// what remains is ordered anew. Where parts lie on a line, only neighbours are joined.
///
/// Cost: O(n log n) in parts, times the sets that a part is in, for a fixed number of candidates.

#include <vector>

#include "Orvex/OrvexCrossingSets.h"

namespace Orvex {

/// Joints over parts in any order.
std::vector<Joint> pairingJoints( CrossingSets const& sets );
/// Joints of neighbours only, for sets that are intervals.
std::vector<Joint> neighbourJoints( CrossingSets const& sets );

}  // namespace Orvex
