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
#include <iterator>
#include <numeric>
#include <span>
#include <utility>
#include <vector>

namespace Orvex {

class CrossingSets {
 public:
  /// That a set holds a part.
  struct Holding {
    std::uint32_t part;
    std::uint32_t set;
  };

  CrossingSets() = default;
  /// Each holding once, ascending by set. Parts take one value until they are given another size.
  CrossingSets( std::uint32_t parts, std::span<Holding const> holdings, std::vector<std::uint64_t> weights )
      : weights_( std::move( weights ) ), sizes_( parts, 1 ), starts_( parts + std::size_t{ 1 }, 0 ) {
    for ( Holding const& holding : holdings ) ++starts_[holding.part + 1];
    std::partial_sum( starts_.begin(), starts_.end(), starts_.begin() );
    sets_.resize( holdings.size() );
    std::vector<std::uint32_t> next( starts_.begin(), std::prev( starts_.end() ) );
    for ( Holding const& holding : holdings ) sets_[next[holding.part]++] = holding.set;
  }

  std::uint32_t partCount() const { return static_cast<std::uint32_t>( sizes_.size() ); }
  /// The sets that hold the part, ascending.
  std::span<std::uint32_t const> setsOf( std::uint32_t part ) const {
    return std::span( sets_ ).subspan( starts_[part], starts_[part + 1] - starts_[part] );
  }
  /// The values of the block that the part needs; a power of two.
  std::uint64_t sizeOf( std::uint32_t part ) const { return sizes_[part]; }
  void sizeOfIs( std::uint32_t part, std::uint64_t size ) { sizes_[part] = size; }
  /// By set.
  std::vector<std::uint64_t> const& weights() const { return weights_; }

 private:
  std::vector<std::uint64_t> weights_;
  std::vector<std::uint64_t> sizes_;
  std::vector<std::uint32_t> starts_;
  std::vector<std::uint32_t> sets_;
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
