#pragma once

/// The best blocks for sets that are intervals of a line, as port ranges are.
///
/// Parts stay in the order of the line. A span of parts that becomes one block is cut in two, and each half is arranged for
/// itself; whatever fills both halves saves an entry:
///
///     saved( first, last ) = weight of the sets that hold first..last
///                            + the most, over cuts, of saved( first, cut - 1 ) + saved( cut, last )
///
/// So the best is found span by span, from the short to the long. Of trees that save the same, the one in the smaller block is
/// taken. (The programme for the prefix alignment of intervals in C. R. Meiners, A. X. Liu and E. Torng, "Topological
/// Transformation Approaches to TCAM-Based Packet Classification", IEEE/ACM Transactions on Networking 19(1), 2011, with
/// weights and with blocks in place of points.)
///
/// Invariant: no tree that keeps the order has a smaller weighted number of aligned blocks, where there is room for all.
/// Cost: n^3 / 6 sums for n parts: 3 million for 256, the most that is taken.

#include <cstdint>
#include <optional>
#include <vector>

#include "Orvex/OrvexCrossingSets.h"

namespace Orvex {

constexpr std::size_t kProgrammeParts = 256;

/// True when each set's parts are neighbours.
bool areIntervals( CrossingSets const& sets );

/// Requires: the sets are intervals, and the parts at most kProgrammeParts.
std::vector<Joint> intervalJoints( CrossingSets const& sets );

}  // namespace Orvex
