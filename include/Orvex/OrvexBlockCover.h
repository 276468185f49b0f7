#pragma once

/// The fewest aligned blocks that hold the values of a set, and no value of another label.
///
/// Values that no label has may be in a block: they match no packet. So a block is good when all labels in it are the set's.
/// Each of its values is in a largest good block, and those are the fewest:
///
///     values 4 5 6 of the set, 7 free, 1 another's        4-5: good        4-7: good        0-7: no        one block
///
/// Cost: a set of one block, its labels; others in addition a sort, and a look at each size of block for each block.

#include <cstdint>
#include <span>
#include <vector>

#include "Orvex/OrvexEncodedLabelAllocator.h"

namespace Orvex {

class BlockCover {
 public:
  /// `taken` are the values that are not free.
  BlockCover( std::uint32_t widthBits, std::span<std::uint16_t const> taken );

  /// Ascending. Requires: `values` are different and among the taken ones; they may change their order.
  std::vector<EncodedLabelRange> blocksOf( std::span<std::uint16_t> values ) const;

 private:
  /// Of the values from first to last.
  std::uint32_t takenCount( std::uint32_t first, std::uint32_t last ) const {
    return takenBelow_[last + 1] - takenBelow_[first];
  }
  EncodedLabelRange largestBlock( std::span<std::uint16_t const> values, std::size_t at ) const;

  std::vector<std::uint32_t> takenBelow_;  // by value
};

}  // namespace Orvex
