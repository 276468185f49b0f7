#include "Orvex/OrvexBlockCover.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace Orvex {

BlockCover::BlockCover( std::uint32_t widthBits, std::span<std::uint16_t const> taken )
    : takenBelow_( ( std::size_t{ 1 } << widthBits ) + 1, 0 ) {
  for ( std::uint16_t const value : taken ) takenBelow_[value + std::size_t{ 1 }] = 1;
  std::partial_sum( takenBelow_.begin(), takenBelow_.end(), takenBelow_.begin() );
}

std::vector<EncodedLabelRange> BlockCover::blocksOf( std::span<std::uint16_t> values ) const {
  std::vector<EncodedLabelRange> blocks;
  if ( values.empty() ) return blocks;
  auto const [least, greatest] = std::minmax_element( values.begin(), values.end() );
  std::uint32_t const within = ( std::uint32_t{ 1 } << std::bit_width( std::uint32_t{ *least } ^ *greatest ) ) - 1;
  std::uint32_t const first = *least & ~within;
  std::uint32_t const last = first | within;
  if ( takenCount( first, last ) == values.size() ) {
    blocks.push_back( { static_cast<std::uint16_t>( first ), static_cast<std::uint16_t>( last ) } );
    return blocks;
  }
  std::sort( values.begin(), values.end() );
  for ( std::size_t at = 0; at != values.size(); ) {
    EncodedLabelRange const block = largestBlock( values, at );
    blocks.push_back( block );
    at += takenCount( block.start, block.end );
  }
  return blocks;
}

/// The largest good block in which the value is the set's first one.
EncodedLabelRange BlockCover::largestBlock( std::span<std::uint16_t const> values, std::size_t at ) const {
  EncodedLabelRange best{ values[at], values[at] };
  for ( std::uint32_t within = 1;; within = 2 * within + 1 ) {
    std::uint32_t const first = values[at] & ~within;
    std::uint32_t const last = first | within;
    if ( last + 1 >= takenBelow_.size() || ( at != 0 && values[at - 1] >= first ) ) return best;
    std::size_t const end = at + takenCount( first, last );
    if ( end > values.size() || values[end - 1] > last ) return best;
    best = { static_cast<std::uint16_t>( first ), static_cast<std::uint16_t>( last ) };
  }
}

}  // namespace Orvex
