#pragma once

/// Gives the labels of a tree of blocks their values.
///
/// A node's labels, and the blocks of the nodes within it, take a number of values; written in binary it is the blocks that
/// they fill without a gap, and each further block costs an entry:
///
///     13 values      1101     8 + 4 + 1    3 blocks
///     14 values      1110     8 + 4 + 2    3 blocks, 1 value wasted
///     16 values      10000    16           1 block, 3 values wasted
///
/// With all nodes rounded up to one block, every set has one entry for each node that it fills. Where that takes more values
/// than there are, roundings are given up where they cost least: a price is put on a value, each node takes the rounding that
/// is cheapest with its waste at that price, and the lowest price is searched at which all fits. What is then left over goes
/// to nodes that still have several blocks, the outermost first. So the outermost node, whose rounding wastes most, is the
/// first to lose it; it can never be one block when that would be all values and one of them is reserved.
///
/// Blocks lie side by side from the largest to the smallest, so that each is aligned. The reserved value is a label as others;
/// in the end all values are turned by the one `exclusive or` that brings it to its place, which keeps blocks what they are.
///
/// Invariants: (1) labels have different values, none the reserved one; (2) it never fails where there are as many values as
/// labels; (3) where everything fits, each node is one aligned block that holds no label from outside.
/// Cost: O(n) in nodes and labels for each of up to 30 prices that are tried, and a sort where not everything fits.

#include <cstdint>
#include <vector>

#include "Orvex/OrvexBlockTree.h"

namespace Orvex {

enum class ReservedValue : std::uint8_t {
  reachable,   // a packet can have it: no block of a set may hold it
  unreachable  // every packet has a label
};

/// The value of each label. Requires: there are fewer labels than values.
std::vector<std::uint16_t> packedBlocks( BlockTree const& tree, std::uint32_t widthBits, std::uint16_t reservedValue,
                                         ReservedValue kind );

}  // namespace Orvex
