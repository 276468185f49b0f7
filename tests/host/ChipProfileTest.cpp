#include "chip/ChipProfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

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

TEST( ChipProfile, ProblemsSayWhatWouldBeRight ) {
  struct {
    std::function<void( ChipProfile& )> spoil;
    char const* want;
  } const cases[] = {
      { []( auto& chip ) { chip.name.clear(); }, "name is empty; give the chip a name" },
      { []( auto& chip ) {
         chip.prefix( kPrefixSpaces[0] ) = { 0, 0 };
       },
        "prefixes.ipv4.source.width is 0; write 1 to 16" },
      { []( auto& chip ) {
         chip.prefix( kPrefixSpaces[3] ) = { 17, 0 };
       },
        "prefixes.ipv6.destination.width is 17; write 1 to 16" },
      { []( auto& chip ) {
         chip.prefix( kPrefixSpaces[0] ) = { 16, 65536 };
       },
        "prefixes.ipv4.source.invalid is 65536, which a label of 16 bits cannot be; write 0 to 65535" },
      { []( auto& chip ) {
         chip.ranges[Field::ttl] = { ~std::uint64_t{ 0 }, 0 };
       },
        "ranges.ttl.width is 18446744073709551615; write 0 to 16" },
      { []( auto& chip ) {
         chip.ranges[Field::dport] = { 6, 64 };
       },
        "ranges.dport.invalid is 64, which a label of 6 bits cannot be; write 0 to 63" },
      { []( auto& chip ) {
         chip.ranges[Field::dport] = { 0, 1 };
       },
        "ranges.dport.invalid is 1, and the table is off; leave it out, or give the table a width" },
      { []( auto& chip ) {
         chip.ranges[Field::dport].widthBits = 8;
         chip.combo( ComboLabelSetType::srcDstL4Port ).widthBits = 8;
       },
        "combos.srcDstL4Port.width combines the labels of sport and dport, and ranges.sport is off; give ranges.sport "
        "a "
        "width, or write 0 here" },
      { []( auto& chip ) { chip.capacities[Resource::ruleEntries] = 0; },
        "capacities.ruleEntries is 0, and the chip has tables that take it; write a number above 0, or \"unlimited\"" },
  };
  for ( auto const& [spoil, want] : cases ) {
    ChipProfile chip = plainChip();
    spoil( chip );
    EXPECT_THAT( problemTexts( chip ), ElementsAre( want ) );
    EXPECT_THROW( capabilityOf( chip, Brae::ChipId( 1 ) ), ProfileError );
  }
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
