#include "Orvex/OrvexLabelMerger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <set>
#include <utility>

namespace Orvex {
namespace {

using testing::ElementsAre;

/// Value, mask.
using Pair = std::pair<std::uint32_t, std::uint32_t>;
using Pairs = std::set<Pair>;

Kiv::Ptr<EncodedLabelWithMaskList> list( Pairs const& pairs = {} ) {
  auto result = Kiv::make<EncodedLabelWithMaskList>( GenSetKey( 1 ) );
  for ( auto const& [value, mask] : pairs )
    result->encLabelAndMaskIs(
        { EncodedLabel( static_cast<std::uint16_t>( value ) ), LabelMask( static_cast<std::uint16_t>( mask ) ) } );
  return result;
}

Pairs pairsOf( EncodedLabelWithMaskList const& entries ) {
  Pairs pairs;
  for ( auto const& entry : entries.encLabelAndMask() ) pairs.insert( { entry.label.value(), entry.mask.value() } );
  return pairs;
}

Pairs merged( std::uint32_t width, Pairs const& pairs ) {
  auto const out = list();
  labelMergerFactory( width, list( pairs ), out );
  return pairsOf( *out );
}

Pairs ofRange( std::uint32_t width, std::uint32_t start, std::uint32_t end ) {
  auto const out = list();
  rangeMergerFactory( width, out )->doMergeRange( start, end );
  return pairsOf( *out );
}

std::size_t matches( Pairs const& pairs, std::uint32_t label ) {
  std::size_t count = 0;
  for ( auto const& [value, mask] : pairs ) count += ( label & mask ) == ( value & mask ) ? 1 : 0;
  return count;
}

/// Pair by pair, each looking for its partner among those that wait.
Pairs literallyMerged( std::uint32_t width, std::vector<Pair> const& in ) {
  Pairs any;
  Pairs one;
  Pairs zero;
  for ( auto const& [value, mask] : in ) {
    Pair const shifted( value >> 1, mask >> 1 );
    if ( ( mask & ( ( 1U << width ) - 1 ) & 1U ) == 0 )
      any.insert( shifted );
    else if ( ( value & 1U ) == 0 ? one.erase( shifted ) != 0 : zero.erase( shifted ) != 0 )
      any.insert( shifted );
    else
      ( ( value & 1U ) == 0 ? zero : one ).insert( shifted );
  }
  auto const below = [&]( Pairs const& group ) {
    return group.size() < 2 ? group : literallyMerged( width - 1, { group.begin(), group.end() } );
  };
  Pairs out;
  for ( auto const& [value, mask] : below( any ) ) out.insert( { value << 1, mask << 1 } );
  for ( auto const& [value, mask] : below( one ) ) out.insert( { value << 1 | 1U, mask << 1 | 1U } );
  for ( auto const& [value, mask] : below( zero ) ) out.insert( { value << 1, mask << 1 | 1U } );
  return out;
}

TEST( RangeMerger, CutsTheWidestFieldAtItsEnds ) {
  EXPECT_THAT( ofRange( 16, 0, 65535 ), ElementsAre( Pair( 0, 0 ) ) );
  EXPECT_THAT( ofRange( 16, 65535, 65535 ), ElementsAre( Pair( 65535, 65535 ) ) );
}

/// Aligned blocks in order and without gaps, no two of them the halves of one: only the cut into the fewest is like that.
TEST( RangeMerger, CutsEveryRangeOfUpToEightBitsIntoTheFewestBlocks ) {
  for ( std::uint32_t width = 1; width <= 8; ++width ) {
    std::uint32_t const full = ( 1U << width ) - 1;
    for ( std::uint32_t start = 0; start <= full; ++start ) {
      for ( std::uint32_t end = start; end <= full; ++end ) {
        SCOPED_TRACE( testing::Message() << width << ": " << start << "-" << end );
        std::uint32_t next = start;
        Pairs const pairs = ofRange( width, start, end );
        for ( auto const& [value, mask] : pairs ) {
          std::uint32_t const size = full - mask + 1;
          ASSERT_TRUE( value == next && std::has_single_bit( size ) && value % size == 0 ) << value;
          ASSERT_EQ( 0U, pairs.count( { value ^ size, mask } ) ) << value;
          next += size;
        }
        ASSERT_EQ( end + 1, next );
      }
    }
  }
}

TEST( RangeMergerDeathTest, RefusesARangeThatEndsBeforeItStartsAndAWidthOfNone ) {
  EXPECT_DEATH( ofRange( 4, 3, 2 ), "end >= start" );
  EXPECT_DEATH( ofRange( 0, 0, 0 ), "bitWidth\\(\\)" );
}

TEST( LabelMerger, MatchesExactlyItsInputForEverySubsetOfFourBits ) {
  for ( std::uint32_t subset = 0; subset != 1U << 16; ++subset ) {
    Pairs in;
    for ( std::uint32_t label = 0; label != 16; ++label )
      if ( ( subset >> label & 1U ) != 0 ) in.insert( { label, 0xF } );
    Pairs const out = merged( 4, in );
    ASSERT_EQ( literallyMerged( 4, { in.begin(), in.end() } ), out ) << "subset " << subset;
    for ( std::uint32_t label = 0; label != 16; ++label )
      ASSERT_EQ( subset >> label & 1U, matches( out, label ) ) << "subset " << subset << ", label " << label;
  }
}

TEST( LabelMerger, DoesNotDependOnTheOrderOfItsInput ) {
  for ( std::uint64_t seed = 1; seed <= 200; ++seed ) {
    SCOPED_TRACE( seed );
    std::mt19937_64 random( seed );
    std::uint32_t const width = 1 + static_cast<std::uint32_t>( random() % 16 );
    Pairs in;
    for ( std::size_t count = random() % 300; count != 0; --count ) {
      std::uint32_t const start = static_cast<std::uint32_t>( random() % ( 1U << width ) );
      std::uint32_t const end = std::min( start + static_cast<std::uint32_t>( random() % 9 ), ( 1U << width ) - 1 );
      in.merge( ofRange( width, start, end ) );
    }
    std::vector<Pair> shuffled( in.begin(), in.end() );
    Pairs const out = merged( width, in );
    for ( int order = 0; order != 3; ++order ) {
      std::shuffle( shuffled.begin(), shuffled.end(), random );
      ASSERT_EQ( literallyMerged( width, shuffled ), out );
    }
  }
}

}  // namespace
}  // namespace Orvex
