#include "chip/TernaryIndex.h"

#include <gtest/gtest.h>

#include "packets/Random.h"

namespace Orvex::Host::Test {

using Entry = TernaryIndex::Entry;

namespace {

/// Entry after entry.
std::optional<std::uint32_t> firstThatAgrees( std::vector<Entry> const& entries, PackedKey const& key ) {
  for ( std::uint32_t place = 0; place != entries.size(); ++place )
    if ( entries[place].agrees( key ) ) return place;
  return std::nullopt;
}

/// Of the bits in every word's lowest `bits`, `percent` of 100 are cared for.
Entry randomEntry( Random& random, std::uint32_t bits, std::uint32_t percent ) {
  Entry entry;
  for ( std::size_t word = 0; word != entry.mask.size(); ++word )
    for ( std::uint32_t bit = 0; bit != bits; ++bit ) {
      std::uint64_t const place = std::uint64_t{ 1 } << bit;
      if ( random.percent( percent ) ) entry.mask[word] |= place;
      if ( random.percent( 50 ) ) entry.value[word] |= place;
    }
  return entry;
}

}  // namespace

TEST( TernaryIndex, FindsTheEntryThatComesFirst ) {
  for ( std::uint64_t seed = 1; seed != 300; ++seed ) {
    SCOPED_TRACE( "seed " + std::to_string( seed ) );
    Random random( seed );
    std::uint32_t const bits = random.between( 1, 4 );
    std::vector<std::uint32_t> const shares = { 0, 10, 40, 70, 100 };
    std::vector<Entry> entries( random.between( 0, 300 ) );
    for ( Entry& entry : entries ) entry = randomEntry( random, bits, random.oneOf( shares ) );
    // Entries that are alike, and one that agrees with everything, at any place.
    if ( !entries.empty() && random.percent( 50 ) ) entries[random.below( entries.size() )] = Entry();
    for ( std::uint32_t i = 0; i != 40 && !entries.empty(); ++i ) entries.push_back( random.oneOf( entries ) );
    TernaryIndex const index( entries );
    for ( int i = 0; i != 200; ++i ) {
      PackedKey const key = randomEntry( random, bits, 0 ).value;
      ASSERT_EQ( firstThatAgrees( entries, key ), index.find( key ) );
    }
  }
}

// Bits of all words, the highest too.
TEST( TernaryIndex, EveryBitOfAKeyCounts ) {
  std::vector<Entry> entries( 256 );
  for ( std::uint32_t bit = 0; bit != 256; ++bit ) {
    entries[bit].mask[bit / 64] = std::uint64_t{ 1 } << ( bit % 64 );
    entries[bit].value = entries[bit].mask;
  }
  TernaryIndex const index( entries );
  for ( std::uint32_t bit = 0; bit != 256; ++bit ) {
    EXPECT_EQ( bit, index.find( entries[bit].value ) );
    PackedKey twoBits = entries[bit].value;
    twoBits[3] |= std::uint64_t{ 1 } << 63;
    EXPECT_EQ( bit, index.find( twoBits ) );
  }
  EXPECT_EQ( std::nullopt, index.find( PackedKey{} ) );
}

}  // namespace Orvex::Host::Test
