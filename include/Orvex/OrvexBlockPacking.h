#pragma once

/// Gives the labels of a tree of blocks their values.
///
/// How many values each node takes is settled before (OrvexBlockRounding.h): as many as are one block, where there is room for
/// that.
///
/// Blocks lie side by side from the largest to the smallest, so that each is aligned. The reserved value is a label as others;
/// in the end all values are turned by the one `exclusive or` that brings it to its place, which keeps blocks what they are.
///
/// Invariants: (1) labels have different values, none the reserved one; (2) it never fails where there are as many values as
/// labels; (3) where everything fits, each node is one aligned block that holds no label from outside.
/// Cost: O(n) in nodes and labels, and that of the rounding.

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
