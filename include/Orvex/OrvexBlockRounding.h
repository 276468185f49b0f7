#pragma once

/// How many values each node of a tree of blocks takes.
///
/// A node's labels, and what the nodes within it take, are a number of values; written in binary it is the blocks that they
/// fill without a gap, and each further block costs an entry:
///
///     13 values      1101     8 + 4 + 1    3 blocks
///     14 values      1110     8 + 4 + 2    3 blocks, 1 value wasted
///     16 values      10000    16           1 block, 3 values wasted
///
/// With all nodes rounded up to one block, every set has one entry for each node that it fills. Where that takes more values
/// than there are, roundings are given up where they cost least.
///
/// Which rounding is the cheapest cannot be said node by node: what a child wastes, its parent need not waste, so three children
/// of 3 values make 9 or 12, and at 12 the parent is two blocks, as it is at 9, but the children are one each. So each node has
/// a few ways to go, each with its number of values and the cost of all blocks within; the ways of a parent are those of its
/// children, each with each, and each of them rounded up so far or so far. Of all these only the best few are kept: a price is
/// put on a value, and the best cost least together with their values, except for one, which takes the fewest values, so that
/// something always fits. The price is searched at which what fits is best.
///
/// At last, what is left over goes to the nodes that save most for it.
///
/// Invariants: (1) a node takes at least the values of what is in it; (2) the root's fit in the width; (3) where they fit with
/// all nodes rounded to one block, all are.
/// Cost: O(n) in nodes and labels where all fit; else that for each of about 10 prices, and two sorts.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Orvex/OrvexBlockTree.h"

namespace Orvex {

class BlockRounding {
 public:
  /// Requires: the labels and the reserved ones are no more than the values.
  BlockRounding( BlockTree const& tree, std::uint32_t widthBits, std::uint32_t reservedLabels );

  /// All nodes but the root, each before its parent.
  std::vector<std::uint32_t> const& order() const { return order_; }
  /// Of the node's labels, and of what the nodes within it take.
  std::uint64_t values( std::uint32_t node ) const { return values_[node]; }
  std::uint64_t rounded( std::uint32_t node ) const { return rounded_[node]; }

 private:
  bool allFit();
  void giveUpRoundings( std::uint64_t spareValues );
  void settleBlocks();
  int fittingStep( std::uint64_t spareValues );
  bool fitsAt( std::uint64_t price, std::uint64_t spareValues );
  std::uint64_t cheapest( std::uint32_t node, std::uint64_t price ) const;
  void spendRest();
  void spendOn( std::uint32_t node );
  std::optional<std::int64_t> savedBy( std::uint32_t node, std::uint64_t rounded ) const;

  BlockTree const& tree_;
  std::uint64_t space_;
  std::vector<std::uint32_t> order_;
  std::size_t settledNodes_ = 0;            // the first of the order, which no price changes
  std::vector<std::uint64_t> leastValues_;  // own labels, and settled nodes
  std::vector<std::uint64_t> values_;
  std::vector<std::uint64_t> rounded_;
};

}  // namespace Orvex
