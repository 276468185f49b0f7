#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "orvex/TestChip.h"
#include "orvex/TestPolicy.h"
#include "orvex/TestStages.h"

/// Where a failed kick is reported, and what a pipeline does that is kicked more than once.

namespace Orvex {
namespace {

using Test::rule;
using Test::TestChip;
using Test::TraceLines;
using testing::ElementsAre;

EncodingAttr on() { return EncodingAttr( 8, EncodedLabel( 0 ) ); }

/// A member of the keyed stages: sets its width, or switches it off with none.
struct Member {
  std::string name;
  OrvexActiveStage transform;
  OrvexActiveStage encoder;
  std::function<void( ChipHwCapability&, std::optional<EncodingAttr> )> set;
};

std::vector<Member> members() {
  using enum OrvexActiveStage;
  using Attr = std::optional<EncodingAttr>;
  std::vector<Member> all;
  for ( auto const af : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
    for ( bool const src : { true, false } )
      all.push_back( { std::string( Kiv::stringValue( af ) ) + ( src ? " source" : " destination" ), stagePrefixXform,
                       stagePrefixEncoder, [key = PrefixXformKey( af, src )]( ChipHwCapability& chip, Attr attr ) {
                         if ( attr ) chip.prefixEncodingAttrIs( key, *attr );  // never off
                       } } );
  for ( std::uint32_t number = 0; number != Kiv::enumValue( RangeSetType::rangeSetMax ); ++number ) {
    auto const type = static_cast<RangeSetType>( number );
    all.push_back( { std::string( Kiv::stringValue( type ) ), stageRangeSplit, stageRangeEncoder,
                     [type]( ChipHwCapability& chip, Attr attr ) {
                       attr ? chip.rangeEncodingAttrIs( type, *attr ) : chip.rangeEncodingAttrDel( type );
                     } } );
  }
  for ( std::uint32_t number = 0; number != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++number ) {
    auto const type = static_cast<ComboLabelSetType>( number );
    all.push_back( { std::string( Kiv::stringValue( type ) ), stageComboLabelSplit, stageComboLabelEncoder,
                     [type]( ChipHwCapability& chip, Attr attr ) {
                       attr ? chip.comboEncodingAttrIs( type, *attr ) : chip.comboEncodingAttrDel( type );
                     } } );
  }
  return all;
}

/// Rules that need two labels of every kind, and a chip that has them.
void fill( TestChip& chip ) {
  std::string const fields = "sport 1; dport 1; icmp 1; proto 1; length 1; fragment 1; dscp 1; ttl 1";
  std::string const others = "sport 2; dport 2; icmp 2; proto 2; length 2; fragment 2; dscp 2; ttl 2";
  rule( *chip.policy->aclIs( "ipv4" ), 10, "a", "source 10.0.0.0/8; destination 30.0.0.0/8; " + fields );
  rule( *chip.policy->aclIs( "ipv4" ), 20, "b", "source 20.0.0.0/8; destination 40.0.0.0/8; " + others );
  rule( *chip.policy->aclIs( "ipv6" ), 10, "a", "source 2001:db8:1::/48; destination 2001:db8:3::/48; " + fields );
  rule( *chip.policy->aclIs( "ipv6" ), 20, "b", "source 2001:db8:2::/48; destination 2001:db8:4::/48; " + others );
  for ( Member const& member : members() ) member.set( *chip.capability, on() );
}

std::string failureAt( OrvexActiveStage stage ) {
  return "Orvex failed at " + std::string( Kiv::stringValue( stage ) ) + " on chip 7";
}

/// A kick that fails somewhere requests nothing of the driver, and says where it failed.
void expectFailure( TestChip& chip, OrvexActiveStage stage ) {
  chip.kick();
  chip.run();
  EXPECT_EQ( OrvexProgress::orvexFinishedFail, chip.rootStatus->kickProgress() );
  EXPECT_EQ( failureAt( stage ), std::string( chip.rootStatus->kickMessage().view() ) );
  EXPECT_THAT( chip.driver.log, ElementsAre() );
  EXPECT_EQ( nullptr, chip.pdConfig->currPDData() );
}

TEST( OrvexRootFailures, TheStageThatRunsOutOfLabelsIsNamed ) {
  for ( Member const& member : members() ) {
    SCOPED_TRACE( member.name );
    TraceLines const failures( 0 );
    TestChip narrow;
    fill( narrow );
    member.set( *narrow.capability, EncodingAttr( 1, EncodedLabel( 0 ) ) );
    narrow.build();
    expectFailure( narrow, member.transform );

    // Encoders read their widths when they are made, transforms when they are kicked.
    TestChip widened;
    fill( widened );
    member.set( *widened.capability, EncodingAttr( 1, EncodedLabel( 0 ) ) );
    widened.build();
    member.set( *widened.capability, on() );
    expectFailure( widened, member.encoder );
  }
}

TEST( OrvexRootFailures, TheStageThatRefusesThePolicyOrMeetsALimitIsNamed ) {
  TraceLines const failures( 0 );
  TestChip mixed;
  rule( *mixed.policy->aclIs( "edge" ), 10, "mixed", "source 10.0.0.0/8; destination 2001:db8::/32" );
  mixed.build();
  expectFailure( mixed, OrvexActiveStage::stageAggregator );

  TestChip pairs;
  fill( pairs );
  rule( *pairs.policy->aclIs( "ipv4" ), 30, "c", "source 10.0.0.0/8 20.0.0.0/8; destination 30.0.0.0/8 40.0.0.0/8" );
  pairs.capability->maxComboPairsIs( 3 );
  pairs.build();
  expectFailure( pairs, OrvexActiveStage::stageComboLabelResolver );

  TestChip entries;
  fill( entries );
  entries.capability->maxAclEntriesIs( 3 );
  entries.build();
  expectFailure( entries, OrvexActiveStage::stageRuleExpander );
}

TEST( OrvexRootFailures, AFailureBehindAMemberThatIsOffIsNamedWhereItsEffectIsMet ) {
  auto const all = members();
  for ( Member const& member : all )
    for ( bool const encoder : { false, true } ) {
      if ( member.transform == OrvexActiveStage::stagePrefixXform ) continue;  // never off
      SCOPED_TRACE( member.name + ( encoder ? " encoder" : " transform" ) );
      TraceLines const failures( 0 );
      TestChip chip;
      fill( chip );
      // Combinations of ports need the ports.
      for ( Member const& other : all )
        if ( other.transform == member.transform || other.transform == OrvexActiveStage::stageComboLabelSplit )
          other.set( *chip.capability, std::nullopt );
      member.set( *chip.capability, EncodingAttr( 1, EncodedLabel( 0 ) ) );
      chip.build();
      if ( encoder ) member.set( *chip.capability, on() );
      // Fields without labels have encoders that succeed, and hide nothing. These two come first among their kind.
      bool const first = member.name == "srcPort" || member.name == "ipv4SrcDstPrefix";
      OrvexActiveStage const met = member.transform == OrvexActiveStage::stageRangeSplit
                                       ? OrvexActiveStage::stageRangeEncoder
                                       : OrvexActiveStage::stageRuleExpander;
      expectFailure( chip, !first ? met : encoder ? member.encoder : member.transform );
    }
}

// More than one kick

std::size_t publishedRules( TestChip const& chip ) {
  return chip.pdConfig->currPDData()
      ->pdAclColl()
      ->pdAcl()
      .find( PDAclKey( Vell::AddressFamily::ipv4, "ipv4" ) )
      ->rule()
      .size();
}

/// A second version of the policy is kicked and refused: rules of the snapshot that is current again, which had two.
std::size_t rulesAfterARefusal( bool freshRoot ) {
  TraceLines const failures( 0 );
  TestChip chip;
  fill( chip );
  EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, chip.compile() );
  auto const inForce = chip.pdConfig->currPDData();
  rule( *chip.policy->aclIs( "ipv4" ), 30, "c", "source 50.0.0.0/8" );
  chip.driver.toAcquire = ResponseState::failed;
  if ( freshRoot ) chip.build();
  chip.kick();
  chip.run();
  EXPECT_EQ( OrvexProgress::orvexFinishedFail, chip.rootStatus->kickProgress() );
  EXPECT_EQ( failureAt( OrvexActiveStage::stageLoader ), std::string( chip.rootStatus->kickMessage().view() ) );
  EXPECT_THAT( chip.driver.log, ElementsAre( "acquire", "load", "acquire", "revert" ) );
  EXPECT_EQ( inForce, chip.pdConfig->currPDData() );
  return publishedRules( chip );
}

TEST( OrvexRootKicks, ASecondKickOfARootRewritesTheRulesOfThePublishedSnapshotAndAFreshRootDoesNot ) {
  EXPECT_EQ( 3U, rulesAfterARefusal( false ) );
  EXPECT_EQ( 2U, rulesAfterARefusal( true ) );
}

/// The values of the labels that an address pair gets, looked up in the published tables.
std::uint16_t comboValue( TestChip const& chip, char const* source, char const* destination ) {
  PDData const& snapshot = *chip.pdConfig->currPDData();
  auto const value = [&]( bool src, char const* text ) {
    return snapshot.pdPrefixXformEntryColl()
        .find( PrefixXformKey( Vell::AddressFamily::ipv4, src ) )
        ->entry()
        .find( Test::prefix( text ) )
        ->value;
  };
  auto const entry = snapshot.pdV4PrefixComboEntryColl()->entry().find(
      EncodedComboLabel( value( true, source ), value( false, destination ) ) );
  return entry ? entry->value.value() : 0;
}

/// A kick renumbers the values of sources while the pairs of plain labels, which alone the combination encoder looks at, are
/// as before.
std::uint16_t comboValueAfterARenumbering( bool freshRoot ) {
  TestChip chip;
  for ( Member const& member : members() )
    if ( member.name == "ipv4SrcDstPrefix" ) member.set( *chip.capability, on() );
  auto const acl = chip.policy->aclIs( "ipv4" );
  rule( *acl, 10, "a", "source 10.0.0.0/8; destination 30.0.0.0/8" );
  EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, chip.compile() );
  EXPECT_NE( 0, comboValue( chip, "10.0.0.0/8", "30.0.0.0/8" ) );
  rule( *acl, 20, "b", "source 10.0.0.0/8 50.0.0.0/8 60.0.0.0/8 70.0.0.0/8" );
  if ( freshRoot ) chip.build();
  chip.kick();
  chip.run();
  EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, chip.rootStatus->kickProgress() );
  return comboValue( chip, "10.0.0.0/8", "30.0.0.0/8" );
}

TEST( OrvexRootKicks, ASecondKickOfARootKeepsStalePairsAndAFreshRootDoesNot ) {
  EXPECT_EQ( 0, comboValueAfterARenumbering( false ) );
  EXPECT_NE( 0, comboValueAfterARenumbering( true ) );
}

}  // namespace
}  // namespace Orvex
