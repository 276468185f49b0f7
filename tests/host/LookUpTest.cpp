#include "verify/LookUp.h"

#include <gtest/gtest.h>

#include "host/PolicyNotation.h"

namespace Orvex::Host::Test {

using Verify::TableShape;
using Verify::Verdict;

namespace {

PrefixXformKey const kIpv4Source( Vell::AddressFamily::ipv4, true );
PrefixXformKey const kIpv4Destination( Vell::AddressFamily::ipv4, false );
PrefixXformKey const kIpv6Source( Vell::AddressFamily::ipv6, true );
PrefixXformKey const kIpv6Destination( Vell::AddressFamily::ipv6, false );

constexpr std::uint16_t kAll = 0xFFFF;

/// A snapshot made by hand, and one rule after the other.
class LookUp : public testing::Test {
 protected:
  void prefixLabel( PrefixXformKey space, char const* text, std::uint16_t label ) {
    snapshot->pdPrefixXformEntryCollIs( space )->entryIs( { prefix( text ), EncodedLabel( label ) } );
  }
  void rangeLabel( RangeSetType type, std::uint16_t first, std::uint16_t last, std::uint16_t label ) {
    snapshot->rangeEntryColl( type )->entryIs( { RangeSetElem( first, last ), EncodedLabel( label ) } );
  }
  void comboLabel( ComboLabelSetType type, std::uint16_t source, std::uint16_t destination, std::uint16_t label ) {
    EncodedComboLabel const pair{ EncodedLabel( source ), EncodedLabel( destination ) };
    snapshot->comboEntryColl( type )->entryIs( { pair, EncodedLabel( label ) } );
  }
  /// An entry of "acl" with this one field.
  void entry( std::uint32_t rule, EncodedLabelWithMask PDAclFilter::*field, std::uint16_t label, std::uint16_t mask,
              Vell::AddressFamily family = Vell::AddressFamily::ipv4 ) {
    PDAclFilter filter;
    filter.*field = { EncodedLabel( label ), LabelMask( mask ) };
    acls->pdAclIs( PDAclKey( family, "acl" ) )->ruleIs( AceIndex( rule ) )->filterIs( filter );
    snapshot->pdAclCollIs( acls );
  }
  Verify::LookUpKey key( char const* text ) const { return keyOf( *snapshot, shape, packet( text ) ); }
  Verdict verdict( char const* text, char const* acl = "acl" ) const {
    return lookUp( *snapshot, shape, acl, actionOf( DefaultAction::deny ), packet( text ) );
  }
  std::optional<std::uint32_t> rule( char const* text ) const { return verdict( text ).rule; }

  Kiv::Ptr<PDData> snapshot = Kiv::make<PDData>();
  Kiv::Ptr<PDAclColl> acls = Kiv::make<PDAclColl>();
  TableShape shape;
};

}  // namespace

TEST_F( LookUp, AnAddressGetsTheLabelOfItsLongestPrefixInItsOwnTable ) {
  for ( PrefixXformKey const space : { kIpv4Source, kIpv4Destination, kIpv6Source } )
    shape.prefix( space ) = { true, 99 };
  prefixLabel( kIpv4Source, "10.0.0.0/8", 1 );
  prefixLabel( kIpv4Source, "10.1.0.0/16", 2 );
  prefixLabel( kIpv4Source, "10.1.2.3/32", 3 );
  prefixLabel( kIpv4Destination, "0.0.0.0/0", 4 );
  prefixLabel( kIpv6Source, "2001:db8::/32", 5 );
  prefixLabel( kIpv6Destination, "::/0", 6 );

  EXPECT_EQ( 1, key( "10.2.0.0 10.1.2.3" ).source );
  EXPECT_EQ( 2, key( "10.1.2.4 10.1.2.3" ).source );
  EXPECT_EQ( 3, key( "10.1.2.3 10.1.2.3" ).source );
  EXPECT_EQ( 99, key( "11.0.0.0 10.1.2.3" ).source );
  EXPECT_EQ( 4, key( "10.1.2.3 10.1.2.3" ).destination );
  EXPECT_EQ( 5, key( "2001:db8::1 ::" ).source );
  EXPECT_EQ( 99, key( "2001:db9::1 ::" ).source );
  EXPECT_EQ( 0, key( "2001:db8::1 ::" ).destination ) << "its table is off";
}

TEST_F( LookUp, AFieldGoesByItsLabelWhereItsTableIsOnAndByItsValueElsewhere ) {
  shape.ranges[Field::dport] = { true, 7 };
  rangeLabel( RangeSetType::dstPort, 80, 90, 1 );
  rangeLabel( RangeSetType::dstPort, 65535, 65535, 2 );
  rangeLabel( RangeSetType::srcPort, 0, 65535, 3 );

  auto const dport = [&]( char const* text ) { return key( text ).fields[Field::dport]; };
  EXPECT_EQ( 7, dport( "10.0.0.1 10.0.0.2; dport 79" ) );
  EXPECT_EQ( 1, dport( "10.0.0.1 10.0.0.2; dport 80" ) );
  EXPECT_EQ( 1, dport( "10.0.0.1 10.0.0.2; dport 90" ) );
  EXPECT_EQ( 7, dport( "10.0.0.1 10.0.0.2; dport 91" ) );
  EXPECT_EQ( 2, dport( "10.0.0.1 10.0.0.2; dport 65535" ) );
  EXPECT_EQ( 1234, key( "10.0.0.1 10.0.0.2; sport 1234" ).fields[Field::sport] ) << "its table is off";
}

TEST_F( LookUp, ACombinationGoesByThePairOfLabels ) {
  for ( PrefixXformKey const space : { kIpv4Source, kIpv4Destination, kIpv6Source, kIpv6Destination } )
    shape.prefix( space ) = { true, 9 };
  shape.combo( ComboLabelSetType::ipv4SrcDstPrefix ) = { true, 8 };
  shape.combo( ComboLabelSetType::ipv6SrcDstPrefix ) = { true, 7 };
  prefixLabel( kIpv4Source, "10.0.0.0/8", 1 );
  prefixLabel( kIpv4Destination, "10.0.0.0/8", 2 );
  comboLabel( ComboLabelSetType::ipv4SrcDstPrefix, 1, 2, 5 );
  comboLabel( ComboLabelSetType::ipv4SrcDstPrefix, 1, 9, 6 );
  comboLabel( ComboLabelSetType::srcDstL4Port, 0, 0, 4 );

  EXPECT_EQ( 5, key( "10.0.0.1 10.0.0.2" ).prefixCombo );
  EXPECT_EQ( 6, key( "10.0.0.1 11.0.0.2" ).prefixCombo );
  EXPECT_EQ( 8, key( "11.0.0.1 10.0.0.2" ).prefixCombo ) << "no such pair";
  EXPECT_EQ( 7, key( "::1 ::2" ).prefixCombo );
  EXPECT_EQ( 0, key( "10.0.0.1 10.0.0.2" ).portCombo ) << "its table is off";
  shape.combo( ComboLabelSetType::srcDstL4Port ).on = true;
  EXPECT_EQ( 4, key( "10.0.0.1 10.0.0.2" ).portCombo );
  EXPECT_EQ( 0, key( "10.0.0.1 10.0.0.2; dport 1" ).portCombo );
}

TEST_F( LookUp, EachFieldOfAnEntryIsHeldAgainstItsOwnPartOfTheKey ) {
  shape.combo( ComboLabelSetType::ipv4SrcDstPrefix ) = { true, 13 };
  shape.combo( ComboLabelSetType::srcDstL4Port ) = { true, 14 };
  shape.prefix( kIpv4Source ) = { true, 11 };
  shape.prefix( kIpv4Destination ) = { true, 12 };
  auto const key =
      this->key( "10.0.0.1 10.0.0.2; sport 1; dport 2; icmpType 3; proto 4; length 5; dscp 7; ttl 8; tcpFlags 9" );
  struct {
    EncodedLabelWithMask PDAclFilter::*field;
    std::uint16_t want;
  } const cases[] = {
      { &PDAclFilter::source, 11 },      { &PDAclFilter::destination, 12 }, { &PDAclFilter::prefixCombo, 13 },
      { &PDAclFilter::sport, 1 },        { &PDAclFilter::dport, 2 },        { &PDAclFilter::portCombo, 14 },
      { &PDAclFilter::icmpType, 3 },     { &PDAclFilter::proto, 4 },        { &PDAclFilter::length, 5 },
      { &PDAclFilter::fragment, 0 },     { &PDAclFilter::dscp, 7 },         { &PDAclFilter::ttl, 8 },
      { &PDAclFilter::headFragment, 1 }, { &PDAclFilter::tcpFlag, 9 } };
  static_assert( std::size( cases ) == PDAclFilter::kFields );
  for ( auto const& [field, want] : cases )
    for ( std::uint16_t label = 0; label != 16; ++label ) {
      PDAclFilter entry;
      entry.*field = { EncodedLabel( label ), LabelMask( kAll ) };
      ASSERT_EQ( label == want, matches( entry, key ) ) << want << " by " << label;
    }
}

TEST_F( LookUp, TheMaskSelectsTheBitsThatCount ) {
  entry( 1, &PDAclFilter::ttl, 0x8F, 0xF0 );
  EXPECT_EQ( 1U, rule( "10.0.0.1 10.0.0.2; ttl 128" ) );
  EXPECT_EQ( 1U, rule( "10.0.0.1 10.0.0.2; ttl 143" ) );
  EXPECT_EQ( std::nullopt, rule( "10.0.0.1 10.0.0.2; ttl 144" ) );
}

TEST_F( LookUp, LaterFragmentsHaveHeadFragmentZero ) {
  entry( 1, &PDAclFilter::headFragment, 1, 1 );
  entry( 2, &PDAclFilter::fragment, 8191, kAll );
  EXPECT_EQ( 1U, rule( "10.0.0.1 10.0.0.2" ) );
  EXPECT_EQ( std::nullopt, rule( "10.0.0.1 10.0.0.2; fragment 1" ) );
  EXPECT_EQ( 2U, rule( "10.0.0.1 10.0.0.2; fragment 8191" ) );
}

TEST_F( LookUp, TheRuleWithTheLowestIndexDecides ) {
  entry( 30, &PDAclFilter::ttl, 0, 0 );
  entry( 20, &PDAclFilter::ttl, 2, kAll );
  entry( 20, &PDAclFilter::ttl, 3, kAll );
  OrvexActionValue logs;
  logs.logEnabled = true;
  acls->pdAcl().find( PDAclKey( Vell::AddressFamily::ipv4, "acl" ) )->rule().find( AceIndex( 20 ) )->actionIs( logs );
  EXPECT_EQ( ( Verdict{ 20, logs } ), verdict( "10.0.0.1 10.0.0.2; ttl 2" ) );
  EXPECT_EQ( ( Verdict{ 20, logs } ), verdict( "10.0.0.1 10.0.0.2; ttl 3" ) );
  EXPECT_EQ( ( Verdict{ 30, OrvexActionValue() } ), verdict( "10.0.0.1 10.0.0.2; ttl 4" ) );
}

TEST_F( LookUp, WhatIsNotThereIsAMiss ) {
  Verdict const miss{ std::nullopt, actionOf( DefaultAction::deny ) };
  EXPECT_EQ( miss, verdict( "10.0.0.1 10.0.0.2" ) ) << "no ACLs";
  entry( 1, &PDAclFilter::ttl, 0, 0, Vell::AddressFamily::ipv6 );
  EXPECT_EQ( miss, verdict( "10.0.0.1 10.0.0.2" ) ) << "an ACL of the other family";
  EXPECT_EQ( 1U, rule( "::1 ::2" ) );
  EXPECT_EQ( miss, verdict( "::1 ::2", "other" ) ) << "another ACL";
  EXPECT_THROW( verdict( "::1 10.0.0.2" ), Verify::QuestionError );
}

}  // namespace Orvex::Host::Test
