#include "Brae/Bitmap.h"

#include <bit>
#include <cstddef>

#include "Kiv/FatalCheck.h"

namespace Brae {

namespace {

constexpr std::uint32_t kWordBits = 64;
constexpr std::uint64_t kAllOnes = ~std::uint64_t{ 0 };

std::uint64_t onesFrom( std::uint32_t position ) { return kAllOnes << ( position % kWordBits ); }
std::uint64_t onesUpTo( std::uint32_t position ) { return kAllOnes >> ( kWordBits - 1 - position % kWordBits ); }
std::uint32_t countOnes( std::uint64_t word ) { return static_cast<std::uint32_t>( std::popcount( word ) ); }

/// Calls `visit( word, mask )` for each word that the range touches; the mask has the range's bits of that word.
template <class Words, class Visit>
void forEachWord( Words& words, std::uint32_t first, std::uint32_t last, Visit visit ) {
  std::size_t const firstWord = first / kWordBits;
  std::size_t const lastWord = last / kWordBits;
  if ( firstWord == lastWord ) {
    visit( words[firstWord], onesFrom( first ) & onesUpTo( last ) );
    return;
  }
  visit( words[firstWord], onesFrom( first ) );
  for ( std::size_t word = firstWord + 1; word != lastWord; ++word ) visit( words[word], kAllOnes );
  visit( words[lastWord], onesUpTo( last ) );
}

}  // namespace

Kiv::Ptr<Bitmap> bitmapFactory( std::uint32_t size ) { return Kiv::Ptr<Bitmap>::adopt( new Bitmap( size ) ); }

Bitmap::Bitmap( std::uint32_t size )
    : size_( size ), words_( size / kWordBits + ( size % kWordBits == 0 ? 0U : 1U ), 0 ) {}

bool Bitmap::bit( std::uint32_t position ) const {
  KIV_CHECK( position < size_ );
  return ( words_[position / kWordBits] >> ( position % kWordBits ) & 1 ) != 0;
}

void Bitmap::setBitsInRange( std::uint32_t first, std::uint32_t last ) {
  KIV_CHECK( first <= last && last < size_ );
  forEachWord( words_, first, last, [this]( std::uint64_t& word, std::uint64_t mask ) {
    setBits_ += countOnes( mask & ~word );
    word |= mask;
  } );
}

void Bitmap::clearBitsInRange( std::uint32_t first, std::uint32_t last ) {
  KIV_CHECK( first <= last && last < size_ );
  forEachWord( words_, first, last, [this]( std::uint64_t& word, std::uint64_t mask ) {
    setBits_ -= countOnes( mask & word );
    word &= ~mask;
  } );
}

std::uint32_t Bitmap::findClearBitInRange( std::uint32_t first, std::uint32_t last ) const {
  if ( first > last ) return size_;
  KIV_CHECK( last < size_ );
  std::uint32_t word = first / kWordBits;
  std::uint64_t clear = ~words_[word] & onesFrom( first );
  while ( clear == 0 ) {
    if ( word == last / kWordBits ) return size_;
    clear = ~words_[++word];
  }
  std::uint32_t const found = word * kWordBits + static_cast<std::uint32_t>( std::countr_zero( clear ) );
  return found <= last ? found : size_;
}

std::uint32_t Bitmap::numBitsInSetStateInRange( std::uint32_t first, std::uint32_t last, bool state ) const {
  KIV_CHECK( first <= last && last < size_ );
  std::uint32_t ones = 0;
  forEachWord( words_, first, last,
               [&ones]( std::uint64_t word, std::uint64_t mask ) { ones += countOnes( word & mask ); } );
  return state ? ones : last - first + 1 - ones;
}

}  // namespace Brae
