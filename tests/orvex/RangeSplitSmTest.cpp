#include "Orvex/OrvexRangeSplitSm.h"

#include <gtest/gtest.h>

#include <random>

#include "orvex/TestSets.h"

namespace Orvex {
namespace {

using Test::checkedGroups;
using Test::piecesText;
using Test::RangeStage;
using Test::Sets;

using Ranges = std::vector<RangeSetElem>;
constexpr std::uint32_t kValues = 65536;

Sets setsOf( std::vector<Ranges> const& sets, std::uint32_t value ) {
  Sets result;
  for ( std::size_t at = 0; at != sets.size(); ++at )
    for ( RangeSetElem const& range : sets[at] )
      if ( range.first() <= value && value <= range.last() ) result.insert( at + 1 );
  return result;
}

void checkAgainstModel( RangeStage const& stage, std::vector<Ranges> const& sets ) {
  auto const setsOfPiece = [&]( RangeSetElem const& piece ) { return setsOf( sets, piece.first() ); };
  auto const groups = checkedGroups( stage.pieces(), setsOfPiece, *stage.status );
  std::vector<std::uint32_t> labels( kValues );  // 0: no piece
  std::uint32_t next = 0;
  for ( auto const& [piece, label] : stage.pieces() ) {
    EXPECT_LE( next, piece.first() ) << "pieces overlap";
    for ( next = piece.first(); next <= piece.last(); ++next ) labels[next] = label.value();
  }
  for ( std::uint32_t value = 0; value != kValues; ++value ) {
    Sets const want = setsOf( sets, value );
    ASSERT_EQ( want.empty(), labels[value] == 0 ) << value;
    ASSERT_TRUE( want.empty() || want == groups.at( labels[value] ) ) << value;
  }
}

/// Ranges that neither overlap nor share an end, crowded at both ends of the field and around a value in its middle.
Ranges anyRanges( std::mt19937& random ) {
  std::set<std::uint32_t> ends;
  for ( std::uint64_t count = random() % 7; count != 0; --count ) {
    auto const step = static_cast<std::uint32_t>( random() % 8 );
    std::uint32_t const values[] = { step, 1000 + step, kValues - 1 - step,
                                     static_cast<std::uint32_t>( random() % kValues ) };
    ends.insert( values[random() % 4] );
  }
  Ranges ranges;
  for ( auto at = ends.begin(); at != ends.end(); ++at ) {
    auto const first = static_cast<std::uint16_t>( *at );
    if ( random() % 3 != 0 && std::next( at ) != ends.end() ) ++at;
    ranges.emplace_back( first, static_cast<std::uint16_t>( *at ) );
  }
  return ranges;
}

TEST( RangeSplitSm, AValueHasTheLabelOfTheSetsThatContainIt ) {
  for ( std::uint32_t seed = 1; seed <= 60 && !HasFailure(); ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    std::mt19937 random( seed );
    std::vector<Ranges> sets( random() % 10 );
    for ( std::size_t at = 0; at != sets.size(); ++at )
      sets[at] = random() % 5 == 0 ? sets[random() % ( at + 1 )] : anyRanges( random );
    RangeStage stage;
    for ( std::size_t at = 0; at != sets.size(); ++at ) stage.add( at + 1, sets[at] );
    EXPECT_EQ( StageStatusType::finishedSuccess, stage.kick() );
    checkAgainstModel( stage, sets );
  }
}

/// Not what the sets mean: a set is open or not, however many of its ranges are. Ranges that only touch are safe.
TEST( RangeSplitSm, RangesOfASetThatOverlapLoseTheirTail ) {
  auto const pieces = []( char const* first, char const* second ) {
    RangeStage stage;
    stage.add( 1, first );
    stage.add( 2, second );
    EXPECT_EQ( StageStatusType::finishedSuccess, stage.kick() );
    return piecesText( stage.pieces() );
  };
  EXPECT_EQ( "10-19=1 20-25=1", pieces( "10-30 20-25", "" ) );
  EXPECT_EQ( "5-9=1 10-19=2 20-20=2 21-30=1 31-40=1", pieces( "10-20 20-30", "5-40" ) );
  EXPECT_EQ( "10-20=1 21-30=1", pieces( "10-20 21-30", "" ) );
}

TEST( RangeSplitSm, IsOffUntilTheChipHasAWidthForTheField ) {
  RangeStage stage( 0 );
  stage.add( 1, "10-20" );
  EXPECT_EQ( StageStatusType::finishedNotEnabled, stage.kick() );
  stage.capability->rangeEncodingAttrDelAll();
  EXPECT_EQ( StageStatusType::finishedNotEnabled, stage.kick() );
  EXPECT_TRUE( stage.pieces().empty() );
  stage.capability->rangeEncodingAttrIs( RangeStage::kType, EncodingAttr( 1, EncodedLabel( 0 ) ) );
  EXPECT_EQ( StageStatusType::finishedSuccess, stage.kick() );
}

}  // namespace
}  // namespace Orvex
