#pragma once

/// The fewest aligned blocks that the nodes of a tree can take in a width, weighted: what a placement is held against where
/// sets nest and not all of them can have one.
///
/// Sets that nest ask for nothing but the tree. In any placement the blocks of a node's sets are disjoint, hold no label from
/// outside, and can be taken to lie in those of the node around it; so a node takes at least as many values as its labels and
/// what the nodes in it take, and at least as many blocks as the binary number of its values has ones. Conversely, blocks of
/// powers of two can always be packed without a gap, the largest first. So the optimum is a choice of the number of values
/// that each node wastes:
///
///     least( node, wasted ) = the least over w <= wasted of  sum of least( child, its share of w )
///                             + weight * ones( labels + wasted )
///
/// which is found from the bottom up. Entries that are no aligned blocks, whose masks have holes, are not considered.
///
/// Cost: nodes times values that are left over; 0.2 s for 60,000 nodes in 16 bits.

#include <cstdint>

#include "Orvex/OrvexBlockTree.h"

namespace Orvex::Bench {

/// The sum, over the nodes, of weights times blocks. Requires: labels and reserved ones are no more than the values.
std::uint64_t leastWeightedBlocks( BlockTree const& tree, std::uint32_t widthBits, std::uint32_t reservedLabels );

}  // namespace Orvex::Bench
