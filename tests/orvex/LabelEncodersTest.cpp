#include "Orvex/OrvexLabelEncoders.h"

#include <gtest/gtest.h>

#include <random>

#include "orvex/TestSets.h"

namespace Orvex {
namespace {

using Test::ComboStage;
using Test::piecesText;
using Test::prefixesIn;
using Test::PrefixStage;
using Test::RangeStage;

/// An encoder behind a transform, with the same capability.
struct PrefixEncoder : Test::Stage<EncoderConfig, PrefixEncoderStatus, PrefixLabelEncoderSm> {
  explicit PrefixEncoder( PrefixStage const& xform ) {
    capability = xform.capability;
    config = Kiv::make<EncoderConfig>( xform.status );
    status = Kiv::make<PrefixEncoderStatus>( xform.key, Kiv::make<PrefixXformLoaderInfo>( xform.key ) );
    machine = Kiv::make<PrefixLabelEncoderSm>( Brae::ChipId( 1 ), config, status, usage, capability, xform.key,
                                               xform.status );
  }
  auto const& table() const { return status->loaderInfo()->prefixToLabelMap(); }

  Kiv::Ptr<GenSetUsageInfo> usage = Kiv::make<GenSetUsageInfo>();
};

struct RangeEncoder : Test::Stage<EncoderConfig, RangeEncoderStatus, RangeEncoderSm> {
  explicit RangeEncoder( RangeStage const& split, RangeSetType type = RangeStage::kType ) {
    capability = split.capability;
    config = Kiv::make<EncoderConfig>( split.status );
    status = Kiv::make<RangeEncoderStatus>( type, Kiv::make<RangeSplitLoaderInfo>( type ) );
    machine = Kiv::make<RangeEncoderSm>( Brae::ChipId( 1 ), config, status, usage, capability, type, split.status,
                                         split.info );
  }
  auto const& table() const { return status->loaderInfo()->rangeToEncodedLabelMap(); }

  Kiv::Ptr<GenSetUsageInfo> usage = Kiv::make<GenSetUsageInfo>();
};

bool isIn( std::vector<RangeSetElem> const& ranges, std::uint32_t value ) {
  return std::any_of( ranges.begin(), ranges.end(), [value]( RangeSetElem const& range ) {
    return range.first() <= value && value <= range.last();
  } );
}

bool matches( EncoderStatus const& status, std::uint64_t key, std::uint32_t value ) {
  auto const list = status.encodedLabelList().find( GenSetKey( key ) );
  if ( !list ) return false;
  for ( auto const& entry : list->encLabelAndMask() )
    if ( ( ( value ^ entry.label.value() ) & entry.mask.value() ) == 0 ) return true;
  return false;
}

/// One to six ranges that neither overlap nor touch; often the last ends at the field's maximum.
std::vector<RangeSetElem> randomRanges( std::mt19937_64& random, std::uint32_t maximum ) {
  std::vector<RangeSetElem> result;
  auto const add = [&]( std::uint64_t first, std::uint64_t last ) {
    result.emplace_back( static_cast<std::uint16_t>( first ), static_cast<std::uint16_t>( last ) );
  };
  std::uint64_t const step = maximum / 6;
  for ( std::uint64_t begin = 0; begin + step <= maximum; begin += step ) {
    std::uint64_t const first = begin + random() % ( step / 2 );
    if ( random() % 2 == 0 ) add( first, first + ( random() % 3 == 0 ? 0 : random() % ( step / 2 - 1 ) ) );
  }
  if ( result.empty() || random() % 3 == 0 ) add( maximum, maximum );
  return result;
}

// Ranges

TEST( RangeEncoder, GivesEverySetTheLabelsOfItsOwnValuesAndNoOthers ) {
  for ( std::uint64_t seed = 1; seed <= 12; ++seed ) {
    SCOPED_TRACE( seed );
    std::mt19937_64 random( seed );
    std::uint32_t const invalid = static_cast<std::uint32_t>( random() % 256 );
    RangeStage split( 8 );
    split.capability->rangeEncodingAttrIs( RangeStage::kType,
                                           EncodingAttr( 8, EncodedLabel( static_cast<std::uint16_t>( invalid ) ) ) );
    std::map<std::uint64_t, std::vector<RangeSetElem>> sets;
    for ( std::uint64_t key = 1; key <= 12; ++key ) split.add( key, sets[key] = randomRanges( random, 65535 ) );
    RangeEncoder encoder( split );
    for ( std::uint64_t key = 1; key <= 12; ++key )
      encoder.usage->valueInc( GenSetKey( key ), static_cast<std::uint32_t>( random() % 3 ) );
    ASSERT_EQ( StageStatusType::finishedSuccess, split.kick() );
    ASSERT_EQ( StageStatusType::finishedSuccess, encoder.kick() );

    auto entry = encoder.table().begin();
    for ( std::uint32_t value = 0; value <= 65535; ++value ) {
      while ( entry != encoder.table().end() && entry->key.last() < value ) ++entry;
      bool const labelled = entry != encoder.table().end() && entry->key.first() <= value;
      std::uint32_t const label = labelled ? entry->value.value() : invalid;
      for ( auto const& [key, set] : sets )
        ASSERT_EQ( isIn( set, value ), matches( *encoder.status, key, label ) ) << "value " << value << ", set " << key;
    }
  }
}

TEST( RangeEncoder, MatchesRawValuesExactlyWhereTheFieldHasNoLabels ) {
  std::vector<std::pair<RangeSetType, std::uint32_t>> const fields = {
      { RangeSetType::srcPort, 65535 }, { RangeSetType::dstPort, 65535 }, { RangeSetType::icmp, 255 },
      { RangeSetType::proto, 255 },     { RangeSetType::length, 65535 },  { RangeSetType::fragment, 8191 },
      { RangeSetType::dscp, 63 },       { RangeSetType::ttl, 255 } };
  for ( auto const& [type, maximum] : fields ) {
    SCOPED_TRACE( Kiv::stringValue( type ) );
    std::mt19937_64 random( maximum );
    RangeStage split;
    split.capability->rangeEncodingAttrDelAll();
    std::vector<RangeSetElem> const set = randomRanges( random, maximum );
    split.add( 1, set );
    // Values that the field cannot have are left out.
    std::vector<RangeSetElem> beyond;
    if ( maximum != 65535 ) beyond = { { static_cast<std::uint16_t>( maximum - 1 ), 20000 }, { 30000, 40000 } };
    split.add( 2, beyond );
    RangeEncoder encoder( split, type );
    ASSERT_EQ( StageStatusType::finishedNotEnabled, split.kick() );
    ASSERT_EQ( StageStatusType::finishedSuccess, encoder.kick() );
    EXPECT_TRUE( encoder.table().empty() );
    for ( std::uint32_t value = 0; value <= maximum; ++value ) {
      ASSERT_EQ( isIn( set, value ), matches( *encoder.status, 1, value ) ) << value;
      ASSERT_EQ( isIn( beyond, value ), matches( *encoder.status, 2, value ) ) << value;
    }
  }
}

/// The reserved value can be matched too where every value has a label.
TEST( RangeEncoder, TakesOneEntryForAllLabelsWhereTheyCoverTheField ) {
  for ( bool const covers : { true, false } ) {
    RangeStage split( 2 );
    split.capability->labelPlacementIs( LabelPlacement::nested );
    split.add( 1, covers ? "0-65535" : "0-65534" );
    split.add( 2, "0-99" );
    split.add( 3, "100-199" );
    RangeEncoder encoder( split );
    for ( std::uint64_t key = 1; key <= 3; ++key ) encoder.usage->valueInc( GenSetKey( key ), 1 );
    split.kick();
    ASSERT_EQ( StageStatusType::finishedSuccess, encoder.kick() );
    EXPECT_EQ( covers, matches( *encoder.status, 1, 0 ) );
    EXPECT_EQ( covers ? 1U : 2U, encoder.status->encodedLabelList().find( GenSetKey( 1 ) )->encLabelAndMask().size() );
  }
}

TEST( RangeEncoder, KeepsTheTableEntriesOfRangesThatHaveGone ) {
  RangeStage split;
  split.add( 1, "10-20" );
  RangeEncoder encoder( split );
  split.kick();
  encoder.kick();
  split.remove( 1 );
  split.add( 2, "30" );
  split.kick();
  EXPECT_EQ( StageStatusType::finishedSuccess, encoder.kick() );
  EXPECT_EQ( "10-20=1 30-30=1", piecesText( encoder.table() ) );
}

TEST( RangeEncoder, IsSkippedOnlyWhenSetsUsersAndTheTransformAreUnchanged ) {
  RangeStage split;
  split.add( 1, "10-20" );
  RangeEncoder encoder( split );
  split.kick();
  EXPECT_EQ( StageStatusType::finishedSuccess, encoder.kick() );
  EXPECT_EQ( StageStatusType::finishedSuccess, encoder.kick() );  // the transform has not said that nothing changed
  split.kick();
  EXPECT_EQ( StageStatusType::finishedSkipped, encoder.kick() );
  encoder.usage->valueInc( GenSetKey( 1 ), 1 );
  EXPECT_EQ( StageStatusType::finishedSuccess, encoder.kick() );
}

TEST( RangeEncoder, TakesTheLabelPathOfAnAttributeOfNoWidthAndEndsWithoutLists ) {
  RangeStage split( 0 );
  split.add( 1, "10-20" );
  RangeEncoder encoder( split );
  split.kick();
  // No labels and none before: nothing has changed.
  EXPECT_EQ( StageStatusType::finishedSkipped, encoder.kick() );
  EXPECT_TRUE( encoder.status->encodedLabelList().empty() );
}

TEST( RangeEncoder, KeepsItsResultWhenLabelsRunOut ) {
  RangeStage split( 8 );
  split.add( 1, "1" );
  split.add( 2, "2" );
  split.add( 3, "3" );
  split.capability->rangeEncodingAttrIs( RangeStage::kType, EncodingAttr( 2, EncodedLabel( 0 ) ) );
  RangeEncoder encoder( split );
  split.kick();
  ASSERT_EQ( StageStatusType::finishedSuccess, encoder.kick() );
  auto const values = encoder.status->plainToEncodedLabel();
  auto const table = piecesText( encoder.table() );
  split.capability->rangeEncodingAttrIs( RangeStage::kType, EncodingAttr( 8, EncodedLabel( 0 ) ) );
  split.add( 4, "4" );
  ASSERT_EQ( StageStatusType::finishedSuccess, split.kick() );
  EXPECT_EQ( StageStatusType::finishedFailed, encoder.kick() );
  EXPECT_EQ( values, encoder.status->plainToEncodedLabel() );
  EXPECT_EQ( table, piecesText( encoder.table() ) );
  EXPECT_EQ( 3U, encoder.status->encodedLabelList().size() );
}

// Prefixes

TEST( PrefixLabelEncoder, GivesTheInvalidValueToAPieceThatNoSetContains ) {
  PrefixStage xform;
  xform.capability->prefixEncodingAttrIs( xform.key, EncodingAttr( 4, EncodedLabel( 9 ) ) );
  xform.add( 1, "10.0.0.0/8 !10.1.0.0/16" );
  PrefixEncoder encoder( xform );
  xform.kick();
  ASSERT_EQ( StageStatusType::finishedSuccess, encoder.kick() );
  EXPECT_EQ( "10.0.0.0/8=0 10.1.0.0/16=9", piecesText( encoder.table() ) );
  EXPECT_TRUE( matches( *encoder.status, 1, 0 ) );
  EXPECT_FALSE( matches( *encoder.status, 1, 9 ) );
}

TEST( PrefixLabelEncoder, GivesEqualSetsTheSameEntries ) {
  for ( LabelPlacement const placement : { LabelPlacement::nested, LabelPlacement::costOrder } ) {
    PrefixStage xform( 4 );
    for ( std::uint64_t key = 1; key <= 4; ++key ) xform.add( key, "10.0.0.0/8 192.0.2.0/24 !10.1.0.0/16" );
    xform.add( 5, "10.0.0.0/7" );
    xform.capability->labelPlacementIs( placement );
    PrefixEncoder encoder( xform );
    ASSERT_EQ( StageStatusType::finishedSuccess, xform.kick() );
    ASSERT_EQ( StageStatusType::finishedSuccess, encoder.kick() );
    std::uint32_t const value = encoder.table().find( *prefixesIn( "192.0.2.0/24" ).own.begin() )->value();
    for ( std::uint64_t key = 1; key <= 5; ++key ) EXPECT_EQ( key != 5, matches( *encoder.status, key, value ) ) << key;
  }
}

TEST( PrefixLabelEncoder, DropsTheTableEntriesOfPrefixesThatHaveGone ) {
  PrefixStage xform;
  xform.add( 1, "10.0.0.0/8" );
  PrefixEncoder encoder( xform );
  xform.kick();
  encoder.kick();
  xform.remove( 1 );
  xform.add( 2, "11.0.0.0/8" );
  xform.kick();
  encoder.kick();
  EXPECT_EQ( "11.0.0.0/8=1", piecesText( encoder.table() ) );
}

/// The set of all labels has one entry only where it may match the reserved value too.
TEST( PrefixLabelEncoder, LetsBlocksHoldTheReservedValueWhereEveryAddressHasALabel ) {
  struct Case {
    std::string all;
    std::uint32_t width;
    bool hole;
  };
  for ( auto const& [all, width, hole] : { Case{ "0.0.0.0/0", 2, false }, Case{ "0.0.0.0/1 128.0.0.0/1", 2, false },
                                           Case{ "0.0.0.0/0 !10.0.0.0/8", 3, true } } ) {
    SCOPED_TRACE( all );
    PrefixStage xform( width );
    xform.add( 1, all );
    xform.add( 2, "128.0.0.0/1" );
    xform.add( 3, "128.0.0.0/2" );
    xform.capability->labelPlacementIs( LabelPlacement::nested );
    PrefixEncoder encoder( xform );
    for ( std::uint64_t key = 1; key <= 3; ++key ) encoder.usage->valueInc( GenSetKey( key ), 1 );
    ASSERT_EQ( StageStatusType::finishedSuccess, xform.kick() );
    ASSERT_EQ( StageStatusType::finishedSuccess, encoder.kick() );
    int matchReserved = 0;
    for ( std::uint64_t key = 1; key <= 3; ++key ) {
      EXPECT_EQ( 1U, encoder.status->encodedLabelList().find( GenSetKey( key ) )->encLabelAndMask().size() );
      matchReserved += matches( *encoder.status, key, 0 ) ? 1 : 0;
    }
    EXPECT_EQ( hole ? 0 : 1, matchReserved );
  }
}

TEST( PrefixLabelEncoderDeathTest, NeedsAWidth ) {
  PrefixStage xform( 0 );
  EXPECT_DEATH( PrefixEncoder{ xform }, "encodeBitWidth\\(\\)" );
}

// Combinations

struct ComboEncoder : Test::Stage<EncoderConfig, ComboLabelEncoderStatus, ComboLabelEncoderSm> {
  ComboEncoder( ComboStage const& split, Kiv::Ptr<EncoderStatus const> const& src,
                Kiv::Ptr<EncoderStatus const> const& dst ) {
    capability = split.capability;
    config = Kiv::make<EncoderConfig>( split.status );
    status =
        Kiv::make<ComboLabelEncoderStatus>( ComboStage::kType, Kiv::make<ComboLabelLoaderInfo>( ComboStage::kType ) );
    machine = Kiv::make<ComboLabelEncoderSm>( Brae::ChipId( 1 ), config, status, usage, capability, ComboStage::kType,
                                              split.status, src, dst );
  }

  Kiv::Ptr<GenSetUsageInfo> usage = Kiv::make<GenSetUsageInfo>();
};

Kiv::Ptr<EncoderStatus> encoded( std::map<std::uint32_t, std::uint16_t> const& values ) {
  auto status = Kiv::make<EncoderStatus>();
  for ( auto const& [plain, value] : values )
    status->plainToEncodedLabelIs( PlainLabel( plain ), EncodedLabel( value ) );
  return status;
}

TEST( ComboLabelEncoder, WritesPairsOfTheValuesThatItsSidesHave ) {
  ComboStage split;
  split.set( 1 )->comboLabelIs( { PlainLabel( 1 ), PlainLabel( 7 ) } );
  split.set( 2 )->comboLabelIs( { PlainLabel( 1 ), PlainLabel( 7 ) } );
  split.set( 2 )->comboLabelIs( { PlainLabel( 2 ), PlainLabel( 7 ) } );
  ComboEncoder encoder( split, encoded( { { 1, 11 }, { 2, 12 } } ), encoded( { { 7, 77 } } ) );
  split.kick();
  ASSERT_EQ( StageStatusType::finishedSuccess, encoder.kick() );
  auto const& table = encoder.status->loaderInfo()->encComboToEncodedLabelMap();
  ASSERT_EQ( 2U, table.size() );
  std::uint32_t const both = table.find( { EncodedLabel( 11 ), EncodedLabel( 77 ) } )->value();
  std::uint32_t const second = table.find( { EncodedLabel( 12 ), EncodedLabel( 77 ) } )->value();
  EXPECT_TRUE( matches( *encoder.status, 1, both ) );
  EXPECT_FALSE( matches( *encoder.status, 1, second ) );
  EXPECT_TRUE( matches( *encoder.status, 2, both ) );
  EXPECT_TRUE( matches( *encoder.status, 2, second ) );
}

TEST( ComboLabelEncoder, IsOffWithoutAWidth ) {
  ComboStage split( 0 );
  split.set( 1 )->comboLabelIs( { PlainLabel( 1 ), PlainLabel( 7 ) } );
  ComboEncoder encoder( split, encoded( {} ), encoded( {} ) );
  EXPECT_EQ( StageStatusType::finishedNotEnabled, split.kick() );
  EXPECT_EQ( StageStatusType::finishedNotEnabled, encoder.kick() );
}

TEST( ComboLabelEncoderDeathTest, NeedsTheValuesOfBothSides ) {
  ComboStage split;
  split.set( 1 )->comboLabelIs( { PlainLabel( 1 ), PlainLabel( 7 ) } );
  split.kick();
  ComboEncoder noSource( split, encoded( {} ), encoded( { { 7, 77 } } ) );
  EXPECT_DEATH( noSource.kick(), "srcEncStatus\\(\\)->plainToEncodedLabelHas\\( comboLabel.srcLabel\\(\\) \\)" );
  ComboEncoder noDestination( split, encoded( { { 1, 11 } } ), encoded( {} ) );
  EXPECT_DEATH( noDestination.kick(), "dstEncStatus\\(\\)->plainToEncodedLabelHas\\( comboLabel.dstLabel\\(\\) \\)" );
}

}  // namespace
}  // namespace Orvex
