#include "Orvex/OrvexFreeBlocks.h"

#include <algorithm>
#include <bit>

#include "Kiv/FatalCheck.h"

namespace Orvex {

namespace {

constexpr std::uint32_t kWordBits = 64;

/// A word whose bits at multiples of 2^strideBits are set, strideBits below 6.
std::uint64_t strideMask( std::uint32_t strideBits ) {
  std::uint64_t mask = 1;
  for ( std::uint32_t stride = kWordBits / 2; stride >= std::uint32_t{ 1 } << strideBits; stride /= 2 )
    mask |= mask << stride;
  return mask;
}

}  // namespace

FreeBlocks::FreeBlocks( std::uint32_t widthBits )
    : widthBits_( widthBits ), freeCount_( std::uint32_t{ 1 } << widthBits ) {
  for ( std::uint32_t level = 0; level <= widthBits; ++level ) {
    std::uint32_t const blocks = std::uint32_t{ 1 } << ( widthBits - level );
    Words words( ( blocks + kWordBits - 1 ) / kWordBits, ~std::uint64_t{ 0 } );
    if ( blocks < kWordBits ) words[0] = ( std::uint64_t{ 1 } << blocks ) - 1;
    levels_.push_back( std::move( words ) );
  }
}

std::uint32_t FreeBlocks::nextFree( std::uint32_t level, std::uint32_t from, std::uint32_t strideBits ) const {
  Words const& words = levels_[level];
  std::uint32_t const blocks = std::uint32_t{ 1 } << ( widthBits_ - level );
  if ( from >= blocks ) return blocks;
  std::uint32_t const wordStep = strideBits < 6 ? 1 : std::uint32_t{ 1 } << ( strideBits - 6 );
  std::uint64_t const mask = strideBits < 6 ? strideMask( strideBits ) : 1;
  std::uint64_t fromMask = ~std::uint64_t{ 0 } << ( from % kWordBits );
  for ( std::size_t word = from / kWordBits; word < words.size(); word += wordStep ) {
    if ( std::uint64_t const found = words[word] & mask & fromMask; found != 0 )
      return static_cast<std::uint32_t>( word * kWordBits ) + static_cast<std::uint32_t>( std::countr_zero( found ) );
    fromMask = ~std::uint64_t{ 0 };
  }
  return blocks;
}

std::optional<std::uint32_t> FreeBlocks::find( std::uint32_t from, std::uint32_t alignBits,
                                               std::uint32_t count ) const {
  KIV_CHECK( count != 0 && count <= std::uint32_t{ 1 } << alignBits &&
             from % ( std::uint32_t{ 1 } << alignBits ) == 0 );
  // The largest block of a power of two labels that is wholly among those asked for; a place must have it free.
  std::uint32_t const level = static_cast<std::uint32_t>( std::bit_width( count ) ) - 1;
  std::uint32_t const strideBits = alignBits - level;
  while ( from < size() ) {
    std::uint32_t const start = nextFree( level, from >> level, strideBits ) << level;
    if ( start >= size() ) break;
    if ( areFree( start, start + count - 1 ) ) return start;
    from = start + ( std::uint32_t{ 1 } << alignBits );
  }
  return std::nullopt;
}

bool FreeBlocks::areFree( std::uint32_t first, std::uint32_t last ) const {
  if ( last >= size() ) return false;
  while ( first <= last ) {
    std::uint32_t level = first == 0 ? widthBits_ : static_cast<std::uint32_t>( std::countr_zero( first ) );
    while ( level != 0 && first + ( std::uint32_t{ 1 } << level ) - 1 > last ) --level;
    std::uint32_t const block = first >> level;
    if ( ( levels_[level][block / kWordBits] >> ( block % kWordBits ) & 1U ) == 0 ) return false;
    first += std::uint32_t{ 1 } << level;
  }
  return true;
}

void FreeBlocks::take( std::uint32_t first, std::uint32_t last ) {
  KIV_CHECK( first <= last && areFree( first, last ) );
  freeCount_ -= last - first + 1;
  for ( std::uint32_t level = 0; level <= widthBits_; ++level )
    for ( std::uint32_t block = first >> level; block <= last >> level; ++block )
      levels_[level][block / kWordBits] &= ~( std::uint64_t{ 1 } << ( block % kWordBits ) );
}

}  // namespace Orvex
