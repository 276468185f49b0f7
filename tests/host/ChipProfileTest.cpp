#include "chip/ChipProfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "chip/BuiltInProfiles.h"
#include "host/TestChips.h"

namespace Orvex::Host::Test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::vector<std::string> problemTexts( ChipProfile const& profile ) {
  std::vector<std::string> texts;
  for ( ProfileProblem const& each : problemsOf( profile ) )
    texts.push_back( each.field + " " + each.problem + "; " + each.remedy );
  return texts;
}

}  // namespace

/// What is said of each problem is held by the wrong profiles (BadProfile).
TEST( ChipProfile, OneThatIsNotGoodIsToldAndNotTaken ) {
  ChipProfile chip = plainChip();
  chip.prefix( kPrefixSpaces[0] ) = { 16, 65536 };
  chip.ranges[Field::ttl] = { ~std::uint64_t{ 0 }, 0 };
  EXPECT_THAT(
      problemTexts( chip ),
      ElementsAre( "prefixes.ipv4.source.invalid is 65536, which a label of 16 bits cannot be; write 0 to 65535",
                   "ranges.ttl.width is 18446744073709551615; write 0 to 16" ) );
  EXPECT_THROW( capabilityOf( chip, Brae::ChipId( 1 ) ), ProfileError );
}

TEST( ChipProfile, RoomIsAskedOnlyForTablesThatAreOn ) {
  ChipProfile chip = plainChip();
  for ( Resource const resource : { Resource::rangeEntries, Resource::comboEntries } ) chip.capacities[resource] = 0;
  EXPECT_THAT( problemTexts( chip ), IsEmpty() );
  chip.ranges[Field::length].widthBits = 1;
  chip.combo( ComboLabelSetType::ipv6SrcDstPrefix ).widthBits = 1;
  EXPECT_THAT( problemTexts( chip ),
               ElementsAre( HasSubstr( "rangeEntries is 0" ), HasSubstr( "comboEntries is 0" ) ) );
}

TEST( ChipProfile, TheCompilerIsToldWhatIsOnAndFourTimesTheCapacities ) {
  ChipProfile chip = plainChip();
  chip.prefix( kPrefixSpaces[2] ) = { 12, 4095 };
  chip.ranges[Field::icmpType] = { 5, 31 };
  chip.combo( ComboLabelSetType::ipv4SrcDstPrefix ) = { 9, 1 };
  chip.capacities[Resource::ruleEntries] = 1000;
  chip.capacities[Resource::comboEntries] = 30;
  auto const capability = capabilityOf( chip, Brae::ChipId( 3 ) );
  EXPECT_EQ( EncodingAttr( 12, EncodedLabel( 4095 ) ), capability->prefixEncodingAttr().find( kPrefixSpaces[2] ) );
  EXPECT_EQ( EncodingAttr( 5, EncodedLabel( 31 ) ), capability->rangeEncodingAttr().find( RangeSetType::icmp ) );
  EXPECT_EQ( 1U, capability->rangeEncodingAttr().size() ) << "width 0 is no entry";
  EXPECT_EQ( EncodingAttr( 9, EncodedLabel( 1 ) ),
             capability->comboEncodingAttr().find( ComboLabelSetType::ipv4SrcDstPrefix ) );
  EXPECT_EQ( 1U, capability->comboEncodingAttr().size() );
  EXPECT_EQ( 4000U, capability->maxAclEntries() );
  EXPECT_EQ( 120U, capability->maxComboPairs() );
  EXPECT_EQ( kMostRuleEntries, capabilityOf( plainChip(), Brae::ChipId( 3 ) )->maxAclEntries() );
  auto const shape = shapeOf( chip );
  EXPECT_EQ( ( Verify::TableShape::Table{ true, 4095 } ), shape.prefix( kPrefixSpaces[2] ) );
  EXPECT_EQ( ( Verify::TableShape::Table{ true, 31 } ), shape.ranges[Field::icmpType] );
  EXPECT_FALSE( shape.ranges[Field::ttl].on );
}

TEST( ChipProfile, BuiltInOnesAreGoodAndToldApartByTheirNames ) {
  ASSERT_FALSE( builtInProfiles().empty() );
  EXPECT_EQ( "default", builtInProfiles().front().name );
  for ( ChipProfile const& chip : builtInProfiles() ) {
    EXPECT_THAT( problemTexts( chip ), IsEmpty() ) << chip.name;
    EXPECT_EQ( &chip, builtInProfile( chip.name ) );
    EXPECT_NE( "", chip.description );
  }
  EXPECT_EQ( nullptr, builtInProfile( "Default" ) );
}

}  // namespace Orvex::Host::Test
