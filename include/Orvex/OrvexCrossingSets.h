#pragma once

/// Sets that overlap without nesting, over the parts that they cut each other into.
///
///     {1 2 3}, weight 5      part 0: 1 2   {first}
///     {3 4}, weight 1        part 1: 3     {first, second}
///                            part 2: 4     {second}
///
/// No placement gives each of them a block. What can be chosen is a binary tree over the parts: a node that a set fills
/// spares the set one entry, so the best tree has the most weight in its nodes. Both ways here, the programme of
/// OrvexIntervalProgramme.h and the pairing of OrvexPairing.h, find such a tree; it is handed over as a list of joints.

#include <cstdint>
#include <vector>

namespace Orvex {

struct CrossingSets {
  struct Part {
    /// The values of the block that the part needs; a power of two.
    std::uint64_t size = 1;
    /// The sets that hold it, ascending.
    std::vector<std::uint32_t> sets;
  };

  std::vector<Part> parts;
  std::vector<std::uint64_t> weights;  // by set
};

/// Two parts, or what joints before have joined, become one block. The first joint has the number behind the last part's.
struct Joint {
  std::uint32_t a;
  std::uint32_t b;
  /// Of the sets that fill the block; never 0.
  std::uint64_t weight;
};

/// No blocks larger than this count: a table has 2^16 values.
constexpr std::uint64_t kLargestBlock = std::uint64_t{ 1 } << 40;

/// The block for two blocks.
constexpr std::uint64_t joinedSize( std::uint64_t a, std::uint64_t b ) {
  std::uint64_t const size = 2 * ( a > b ? a : b );
  return size < kLargestBlock ? size : kLargestBlock;
}

}  // namespace Orvex
