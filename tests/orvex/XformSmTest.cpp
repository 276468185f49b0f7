#include "Orvex/OrvexXformSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvex/TestSets.h"
#include "orvex/TestStages.h"

namespace Orvex {
namespace {

using Test::ComboStage;
using Test::labelsOfSets;
using Test::PrefixStage;
using Test::RangeStage;
using Test::TraceLines;
using testing::Each;
using testing::EndsWith;

/// Makes the set with this key hold one piece that no other set holds.
void addOwnPiece( PrefixStage const& stage, std::uint32_t key ) {
  stage.add( key, Test::Prefixes{ { { key << 8, 32 } }, {} } );
}
void addOwnPiece( RangeStage const& stage, std::uint32_t key ) {
  auto const value = static_cast<std::uint16_t>( key - 1 );
  stage.add( key, std::vector{ RangeSetElem( value, value ) } );
}
void addOwnPiece( ComboStage const& stage, std::uint32_t key ) {
  stage.set( key )->comboLabelIs( { PlainLabel( key % 256 ), PlainLabel( key / 256 ) } );
}

/// A stage with `sets` sets whose labels have `width` bits.
template <class TransformStage>
TransformStage stageWith( std::uint32_t width, std::uint32_t sets ) {
  TransformStage stage( width );
  for ( std::uint32_t key = 1; key <= sets; ++key ) addOwnPiece( stage, key );
  return stage;
}

template <class TransformStage>
class XformSm : public testing::Test {};
using Transforms = testing::Types<PrefixStage, RangeStage, ComboStage>;
TYPED_TEST_SUITE( XformSm, Transforms );

TYPED_TEST( XformSm, AWidthHoldsAllItsLabelsButZero ) {
  for ( std::uint32_t const width : { 1U, 2U, 3U, 16U } ) {
    std::uint32_t const limit = ( 1U << width ) - 1;
    for ( std::uint32_t const sets : { limit - 1, limit, limit + 1 } ) {
      SCOPED_TRACE( testing::Message() << "width " << width << ", sets " << sets );
      auto stage = stageWith<TypeParam>( width, sets );
      TraceLines const trace( 0 );
      EXPECT_EQ( sets <= limit ? StageStatusType::finishedSuccess : StageStatusType::finishedFailed, stage.kick() );
      EXPECT_EQ( sets <= limit ? 1 : 0, stage.machine->lastComputedKickTime() );
      EXPECT_EQ( sets, stage.pieces().size() );
      EXPECT_EQ( sets, labelsOfSets( *stage.status ).size() );
      EXPECT_EQ( StageStatusType::finishedSkipped, stage.kick() );
      std::string const text = "::doStartKick: Generated too many disjoint sets : " + std::to_string( limit );
      EXPECT_EQ( sets <= limit ? 0U : 1U, trace.lines.size() );
      EXPECT_THAT( trace.lines, Each( EndsWith( text ) ) );
    }
  }
}

TYPED_TEST( XformSm, AFailureKeepsItsResultAndIsForgottenWithTheNextEdit ) {
  auto stage = stageWith<TypeParam>( 2, 4 );
  TraceLines const silence( 0 );
  EXPECT_EQ( StageStatusType::finishedFailed, stage.kick() );
  EXPECT_EQ( StageStatusType::finishedSkipped, stage.kick() );
  EXPECT_EQ( 4U, stage.pieces().size() );
  EXPECT_EQ( 0, stage.machine->lastComputedKickTime() );
  stage.remove( 2 );
  EXPECT_EQ( StageStatusType::finishedSuccess, stage.kick() );
  EXPECT_EQ( 3, stage.machine->lastComputedKickTime() );
  EXPECT_EQ( 3U, labelsOfSets( *stage.status ).size() );
  EXPECT_FALSE( labelsOfSets( *stage.status ).count( 2 ) );
  addOwnPiece( stage, 5 );
  EXPECT_EQ( StageStatusType::finishedFailed, stage.kick() );
}

TEST( GenSetKeyGroupDeduper, NumbersDistinctGroupsAsTheyComeAndTakesOneFamilyOfNumberedOnes ) {
  using ClassIds = std::vector<GenSetKeyClasses::ClassId>;
  auto const group = []( std::vector<GenSetKey> const& keys ) { return Kiv::make<GenSetKeyGroup>( keys ); };
  auto const plain = Kiv::make<GenSetKeyGroupDeduper>();
  EXPECT_EQ( PlainLabel( 1 ), plain->addGroup( group( { GenSetKey( 1 ), GenSetKey( 2 ) } ) ) );
  EXPECT_EQ( PlainLabel( 2 ), plain->addGroup( group( { GenSetKey( 2 ) } ) ) );
  EXPECT_EQ( PlainLabel( 1 ), plain->addGroup( group( { GenSetKey( 2 ), GenSetKey( 1 ) } ) ) );

  auto const classes = Kiv::make<GenSetKeyClasses>(
      std::vector<GenSetKeyClasses::Member>{ { 0, GenSetKey( 1 ) }, { 1, GenSetKey( 2 ) } } );
  GenSetKeyGroupInterner interner( classes );
  auto const numbered = Kiv::make<GenSetKeyGroupDeduper>();
  EXPECT_EQ( PlainLabel( 1 ), numbered->addGroup( interner.group( ClassIds{ 1 } ) ) );
  EXPECT_EQ( PlainLabel( 2 ), numbered->addGroup( interner.group( ClassIds{ 0, 1 } ) ) );
  EXPECT_EQ( PlainLabel( 1 ), numbered->addGroup( interner.group( ClassIds{ 1 } ) ) );
  EXPECT_DEATH( numbered->addGroup( group( { GenSetKey( 2 ) } ) ), "made of the same classes" );
}

TEST( PrefixXformSm, TheLabelOfWhatNoListContainsCountsAgainstTheWidth ) {
  TraceLines const silence( 0 );
  PrefixStage stage( 1 );
  stage.add( 1, "10.0.0.0/8 !10.1.0.0/16" );
  EXPECT_EQ( StageStatusType::finishedFailed, stage.kick() );
}

TEST( PrefixXformSm, AChipWithoutAnEntryForThePrefixSpaceIsFatal ) {
  PrefixStage stage;
  stage.capability->prefixEncodingAttrDel( stage.key );
  EXPECT_DEATH( stage.kick(), "hwCapability\\(\\)->prefixEncodingAttrHas\\( key\\(\\) \\)" );
}

}  // namespace
}  // namespace Orvex
