#include "Orvex/OrvexAclTypes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Orvex/OrvexByteHash.h"
#include "orvex/TestPolicy.h"

namespace Orvex {
namespace {

using Test::match;
using Test::prefix;
using Test::prefixes;
using testing::ThrowsMessage;

TEST( ByteHash, IsTheOneAtATimeHash ) {
  ByteHash text, bytes;
  EXPECT_EQ( 0U, text.result() );
  for ( char const each : std::string_view( "The quick brown fox jumps over the lazy dog" ) )
    text.feed( static_cast<std::uint8_t>( each ) );
  EXPECT_EQ( 0x519E91F5U, text.result() );
  for ( std::uint8_t byte = 8; byte != 0; --byte ) bytes.feed( byte );
  EXPECT_EQ( bytes.result(), ByteHash().feed( std::uint64_t{ 0x0102030405060708 } ).result() );
  EXPECT_EQ( 0x90012U, ByteHash().combine( 3 ).combine( 1 ).result() );  // the state is 2
}

template <class RangeType>
void expectLimits( std::uint32_t maximum, std::string const& startText, std::string const& endText ) {
  RangeType range( 0, maximum );
  EXPECT_TRUE( range.isAny() );
  EXPECT_THAT( [&] { range.rangeStartIs( maximum + 1 ); }, ThrowsMessage<Kiv::RangeException>( startText ) );
  EXPECT_THAT( [&] { range.rangeEndIs( maximum + 1 ); }, ThrowsMessage<Kiv::RangeException>( endText ) );
  EXPECT_EQ( RangeType( 0, maximum ), range );
  std::string const text = "Value('" + std::string( RangeType::kTypeName ) + "', ** {'rangeStart': 1, 'rangeEnd': ";
  EXPECT_EQ( RangeType( 1, 5 ), Kiv::strepToValue<RangeType>( text + "5})" ) );
  EXPECT_EQ( text + "5})", Kiv::valueToStrep( RangeType( 1, 5 ) ).view() );
  EXPECT_THAT( [&] { Kiv::strepToValue<RangeType>( text + std::to_string( maximum + 1 ) + "})" ); },
               ThrowsMessage<Kiv::RangeException>( endText ) );
}

TEST( AclValues, CheckedRangesRefuseWhatIsBeyondTheirField ) {
  expectLimits<FragmentRange>( 8191, "FragmentRange::rangeStart < 0 or > Expr @OrvexAclTypes:87 not allowed",
                               "FragmentRange::rangeEnd < 0 or > Expr @OrvexAclTypes:90 not allowed" );
  expectLimits<DscpRange>( 63, "DscpRange::rangeStart < 0 or > Expr @OrvexAclTypes:101 not allowed",
                           "DscpRange::rangeEnd < 0 or > Expr @OrvexAclTypes:104 not allowed" );
  expectLimits<TtlRange>( 255, "TtlRange::rangeStart < 0 or > Expr @OrvexAclTypes:115 not allowed",
                          "TtlRange::rangeEnd < 0 or > Expr @OrvexAclTypes:118 not allowed" );
}

TEST( AclValues, IndexTrafficClassAndActionHaveTheirLimitsAndTexts ) {
  EXPECT_EQ( 0xFFFFFFFEU, AceIndex( 0xFFFFFFFE ).value() );
  EXPECT_THAT(
      [] { AceIndex( 0xFFFFFFFF ); },
      ThrowsMessage<Kiv::RangeException>( "AceIndex::value < AceIndex::min or > AceIndex::null not allowed" ) );
  EXPECT_THAT( [] { OrvexTrafficClass( 256 ); },
               ThrowsMessage<Kiv::RangeException>(
                   "OrvexTrafficClass::value < OrvexTrafficClass::min or > OrvexTrafficClass::null not allowed" ) );
  OrvexActionValue action;
  EXPECT_EQ( 8U, action.tc.value() );
  action.logEnabled = true;
  action.dscp.valueIs( 46 );
  EXPECT_EQ( action, Kiv::strepToValue<OrvexActionValue>( Kiv::valueToStrep( action ).view() ) );
  EXPECT_NE( action.hash(), OrvexActionValue().hash() );
}

TEST( IpPrefixList, EqualityIsThatOfTheTwoSets ) {
  auto const list = prefixes( "10.0.0.0/8 192.0.2.0/24 !10.1.0.0/16" );
  EXPECT_TRUE( list->isEqual( prefixes( "192.0.2.0/24 !10.1.0.0/16 10.0.0.0/8" ) ) );
  EXPECT_FALSE( list->isEqual( prefixes( "10.0.0.0/8 192.0.2.0/24 10.1.0.0/16" ) ) );
  EXPECT_FALSE( list->isEqual( prefixes( "10.0.0.0/8 !10.1.0.0/16" ) ) );
  EXPECT_FALSE( list->isEqual( nullptr ) );
  EXPECT_NE( list->hash(), prefixes( "10.0.0.0/8 192.0.2.0/24 10.1.0.0/16" )->hash() );
  // The prefix hash is what it is: the last two collide, and equality tells them apart.
  EXPECT_EQ( 0xB0E722CBU, prefixHash( Vell::IpGenPrefix( 0xC0000201, 32 ) ) );
  EXPECT_EQ( prefixes( "10.0.0.0/8" )->hash(), prefixes( "11.0.0.0/9" )->hash() );
  EXPECT_FALSE( prefixes( "10.0.0.0/8" )->isEqual( prefixes( "11.0.0.0/9" ) ) );
}

TEST( RuleFilter, HashFeedsEveryAttributeInItsPlace ) {
  auto const filter = Kiv::make<RuleFilter>();
  filter->sourceIs( prefixes( "10.0.0.0/8" ) );
  for ( std::uint32_t const port : { 443U, 80U } ) filter->dportRangeIs( L4PortRange( port, 500 ) );
  filter->ttlIs( TtlRange( 1, 2 ) );
  filter->matchTcpEstablishedIs( true );

  auto const none = []( std::uint32_t id ) { return ByteHash().feed( id ).result(); };
  ByteHash ports, hash;
  for ( std::uint32_t const word : { 0x85U, 80U, 500U, 443U, 500U } ) ports.feed( word );
  // A checked field's ranges are led by a word.
  auto const ttls = ByteHash().feed( 0x8dU ).feed( std::uint64_t{ 0x8d } ).feed( 1U ).feed( 2U );
  hash.feed( 0x82U ).feed( filter->source()->hash() ).feed( 0x83U ).feed( none( 0x84 ) ).feed( ports.result() );
  for ( std::uint32_t const id : { 0x86U, 0x87U, 0x8aU, 0x8bU, 0x8cU } ) hash.feed( none( id ) );
  hash.feed( ttls.result() ).feed( std::uint8_t{ 0 } ).feed( std::uint8_t{ 1 } );
  EXPECT_EQ( hash.result(), filter->hash() );

  auto const absent = Kiv::make<RuleFilter>();
  auto const empty = Kiv::make<RuleFilter>();
  empty->sourceIs();
  EXPECT_NE( absent->hash(), empty->hash() );
}

TEST( RuleFilter, CopyTakesEverythingAndPlantsListsThatAreAbsent ) {
  auto const from = Kiv::make<RuleFilter>();
  match( *from,
         "destination !2001:db8::/32; sport 1-2; dport 3-4; icmp 5-6; proto 7-8; length 9-10; fragment 11-12; "
         "dscp 13-14; ttl 15-16; init" );
  auto const to = Kiv::make<RuleFilter>();
  auto const own = to->sourceIs();
  own->addrIs( prefix( "10.0.0.0/8" ) );
  to->ttlIs( TtlRange( 99, 100 ) );
  to->copy( *from );
  EXPECT_EQ( own, to->source() );
  EXPECT_TRUE( own->addr().empty() );
  from->sourceIs();
  EXPECT_EQ( from->hash(), to->hash() );
  EXPECT_TRUE( to->destination()->isEqual( from->destination() ) );
  EXPECT_NE( to->destination(), from->destination() );
}

TEST( RuleFilter, CopyNeverEditsAListThatAnotherRuleCanHoldNorTheOneItReads ) {
  auto const any = prefixes( "0.0.0.0/0" );
  auto const first = Kiv::make<RuleFilter>(), second = Kiv::make<RuleFilter>(), other = Kiv::make<RuleFilter>();
  first->sourceIs( any );
  second->sourceIs( any );
  other->sourceIs()->addrIs( prefix( "10.0.0.0/8" ) );
  first->copy( *other );
  EXPECT_TRUE( first->source()->isEqual( other->source() ) );
  EXPECT_EQ( any, second->source() );
  EXPECT_TRUE( any->isEqual( prefixes( "0.0.0.0/0" ) ) );

  second->sourceIs( other->source() );  // now two rules hold what the other one made
  other->copy( *first );
  other->sourceIs()->addrDelAll();
  EXPECT_TRUE( second->source()->isEqual( prefixes( "10.0.0.0/8" ) ) );

  second->copy( *second );
  EXPECT_TRUE( second->source()->isEqual( prefixes( "10.0.0.0/8" ) ) );
}

TEST( RuleConfig, CopyTakesAllButTheName ) {
  auto const acl = Kiv::make<AclConfigColl>( Brae::ChipId( 3 ) )->aclIs( "edge" );
  auto const web = acl->ruleByNameIs( "web" ), copied = acl->ruleByNameIs( "dns" );
  web->ruleFilterIs()->protoIs( ProtoRange( 6, 6 ) );
  copied->copy( *web );
  EXPECT_EQ( "dns", copied->name().view() );
  EXPECT_TRUE( copied->ruleFilter()->protoHas( ProtoRange( 6, 6 ) ) );
}

}  // namespace
}  // namespace Orvex
