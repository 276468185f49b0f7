#include "Orvex/OrvexBlockCover.h"

#include <algorithm>
#include <bit>

namespace Orvex {

BlockCover::BlockCover( std::uint32_t widthBits, std::span<std::uint16_t const> taken )
    : takenBelow_( ( std::size_t{ 1 } << widthBits ) + 1, 0 ) {
  for ( std::uint16_t const value : taken ) takenBelow_[value + std::size_t{ 1 }] = 1;
  for ( std::size_t value = 1; value != takenBelow_.size(); ++value ) takenBelow_[value] += takenBelow_[value - 1];
}

std::vector<EncodedLabelRange> BlockCover::blocksOf( std::span<std::uint16_t> values ) const {
  std::vector<EncodedLabelRange> blocks;
  if ( values.empty() ) return blocks;
  auto const [least, greatest] = std::minmax_element( values.begin(), values.end() );
  std::uint32_t const within = ( std::uint32_t{ 1 } << std::bit_width( std::uint32_t{ *least } ^ *greatest ) ) - 1;
  std::uint32_t const first = *least & ~within;
  std::uint32_t const last = first | within;
  if ( takenCount( first, last ) != values.size() ) std::sort( values.begin(), values.end() );
  addBlocks( first, last, values, blocks );
  return blocks;
}

void BlockCover::addBlocks( std::uint32_t first, std::uint32_t last, std::span<std::uint16_t const> values,
                            std::vector<EncodedLabelRange>& blocks ) const {
  if ( values.empty() ) return;
  if ( takenCount( first, last ) == values.size() ) {
    blocks.push_back( { static_cast<std::uint16_t>( first ), static_cast<std::uint16_t>( last ) } );
    return;
  }
  std::uint32_t const middle = first + ( last - first ) / 2;
  auto const upper =
      static_cast<std::size_t>( std::upper_bound( values.begin(), values.end(), middle ) - values.begin() );
  addBlocks( first, middle, values.first( upper ), blocks );
  addBlocks( middle + 1, last, values.subspan( upper ), blocks );
}

}  // namespace Orvex
