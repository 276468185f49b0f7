#include "BlockOptimum.h"

#include <algorithm>
#include <bit>
#include <vector>

namespace Orvex::Bench {

namespace {

constexpr std::uint64_t kImpossible = ~std::uint64_t{ 0 };

/// By number of wasted values: the least cost.
using Costs = std::vector<std::uint64_t>;

/// The node's own blocks come to what is within. Wasting more than one block takes is of no use.
Costs withOwnBlocks( Costs const& within, std::uint64_t labels, std::uint64_t weight, std::uint64_t spare ) {
  std::uint64_t const most = std::min( spare, std::bit_ceil( labels + within.size() - 1 ) - labels );
  Costs costs;
  std::uint64_t least = kImpossible;
  for ( std::uint64_t wasted = 0; wasted <= most; ++wasted ) {
    if ( wasted < within.size() ) least = std::min( least, within[wasted] );
    costs.push_back( least + weight * static_cast<std::uint64_t>( std::popcount( labels + wasted ) ) );
  }
  return costs;
}

Costs together( Costs const& some, Costs const& others, std::uint64_t spare ) {
  Costs sum( std::min<std::uint64_t>( spare, some.size() + others.size() - 2 ) + 1, kImpossible );
  std::uint64_t least = kImpossible;
  for ( std::size_t wasted = 0; wasted != others.size(); ++wasted ) {
    if ( others[wasted] >= least ) continue;  // a smaller waste does as well
    least = others[wasted];
    for ( std::size_t at = 0; at != some.size() && at + wasted < sum.size(); ++at )
      if ( some[at] != kImpossible ) sum[at + wasted] = std::min( sum[at + wasted], some[at] + least );
  }
  return sum;
}

}  // namespace

std::uint64_t leastWeightedBlocks( BlockTree const& tree, std::uint32_t widthBits, std::uint32_t reservedLabels ) {
  std::uint64_t const spare = ( std::uint64_t{ 1 } << widthBits ) - tree.labelCount() - reservedLabels;
  std::vector<std::uint64_t> labels( tree.nodeCount(), 0 );
  for ( std::uint32_t label = 0; label != tree.labelCount(); ++label ) ++labels[tree.parentOfLabel( label )];
  std::vector<Costs> within( tree.nodeCount(), Costs{ 0 } );
  for ( std::uint32_t const node : tree.bottomUp() ) {
    Costs const costs = withOwnBlocks( within[node], labels[node], tree.weight( node ), spare );
    Costs().swap( within[node] );
    std::uint32_t const parent = tree.parent( node );
    within[parent] = together( within[parent], costs, spare );
    labels[parent] += labels[node];
  }
  return *std::min_element( within[BlockTree::kRoot].begin(), within[BlockTree::kRoot].end() );
}

}  // namespace Orvex::Bench
