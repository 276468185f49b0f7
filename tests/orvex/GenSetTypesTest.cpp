#include "Orvex/OrvexGenSetTypes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Orvex/OrvexHwCapability.h"
#include "orvex/TestPolicy.h"

namespace Orvex {
namespace {

using Test::prefix;
using testing::Throws;
using testing::ThrowsMessage;

TEST( RangeSet, HashAndEqualityAreThoseOfItsContentHoweverItCameAbout ) {
  for ( std::uint32_t seed = 1; seed <= 20; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    std::mt19937 random( seed );
    std::vector<RangeSetElem> kept, passing;
    for ( std::uint32_t i = 0; i != 10 * seed; ++i ) {
      auto const first = static_cast<std::uint16_t>( random() );
      ( i % 3 == 0 ? passing : kept ).emplace_back( first, static_cast<std::uint16_t>( first | random() ) );
    }
    auto const atOnce = Kiv::make<RangeSet>( GenSetKey( 1 ), RangeSetType::fragment );
    auto const oneByOne = Kiv::make<RangeSet>( GenSetKey( 2 ), RangeSetType::fragment );
    atOnce->rangeIs( kept );
    auto all = kept;
    all.insert( all.end(), passing.begin(), passing.end() );
    std::shuffle( all.begin(), all.end(), random );
    for ( RangeSetElem const& range : all ) oneByOne->rangeIs( range );
    for ( RangeSetElem const& range : passing ) oneByOne->rangeDel( range );
    EXPECT_EQ( atOnce->hash(), oneByOne->hash() );
    EXPECT_TRUE( atOnce->isEqual( oneByOne ) );
    oneByOne->rangeDel( kept[0] );
    oneByOne->rangeIs( passing[0] );  // as many ranges as atOnce, but others
    EXPECT_FALSE( atOnce->isEqual( oneByOne ) );
    EXPECT_FALSE( atOnce->isEqual( nullptr ) );
  }
}

TEST( GenSet, OfAnotherTypeOrClassIsAnotherSet ) {
  auto const sport = Kiv::make<RangeSet>( GenSetKey( 1 ), RangeSetType::srcPort );
  auto const dport = Kiv::make<RangeSet>( GenSetKey( 1 ), RangeSetType::dstPort );
  auto const combo = Kiv::make<ComboLabelSet>( GenSetKey( 1 ), ComboLabelSetType::ipv4SrcDstPrefix );
  sport->rangeIs( RangeSetElem( 1, 10 ) );
  dport->rangeIs( RangeSetElem( 1, 10 ) );
  EXPECT_EQ( "Key: 1, type: srcPort 1-10", sport->stringValue() );
  EXPECT_NE( sport->hash(), dport->hash() );
  EXPECT_FALSE( sport->isEqual( dport ) );
  sport->rangeDelAll();
  EXPECT_EQ( combo->hash(), sport->hash() );  // both are empty and have type 0
  EXPECT_FALSE( sport->isEqual( combo ) );
  EXPECT_FALSE( combo->isEqual( Kiv::make<GenSetKeyGroup>() ) );
  EXPECT_FALSE( Kiv::make<GenSetKeyGroup>()->isEqual( combo ) );
  EXPECT_FALSE( Kiv::make<PrefixSet>( GenSetKey( 1 ) )->isEqual( combo ) );
}

TEST( PrefixSet, HashesAndComparesAsThePrefixListOfItsContent ) {
  std::mt19937 random( 1 );
  auto const list = Kiv::make<IpPrefixList>();
  std::vector<Vell::IpGenPrefix> all;
  for ( std::uint32_t i = 0; i != 100; ++i ) all.emplace_back( static_cast<std::uint32_t>( random() ), i % 33 );
  all.push_back( prefix( "2001:db8::/32" ) );
  for ( auto const& each : all ) list->addrIs( each );
  list->exceptAddrIs( all[3] );

  auto const set = Kiv::make<PrefixSet>( GenSetKey( 1 ) ), other = Kiv::make<PrefixSet>( GenSetKey( 2 ) );
  set->prefixIs( all );
  set->exceptPrefixIs( { all[3] } );
  std::shuffle( all.begin(), all.end(), random );
  for ( auto const& each : all ) other->prefixIs( each );
  EXPECT_FALSE( set->isEqual( other ) );
  for ( auto const& each : set->exceptPrefix() ) other->exceptPrefixIs( each );
  EXPECT_EQ( list->hash(), set->hash() );
  EXPECT_EQ( list->hash(), other->hash() );
  EXPECT_TRUE( set->isEqual( other ) );
  other->prefixDel( all[0] );
  EXPECT_NE( list->hash(), other->hash() );
}

TEST( EncodedLabelWithMaskList, AChangeIsSeenInNoListThatSharesTheEntries ) {
  auto const entry = []( std::uint16_t label ) {
    return EncodedLabelWithMask( EncodedLabel( label ), LabelMask( 15 ) );
  };
  EncodedLabelWithMaskList list( GenSetKey( 1 ) ), other( GenSetKey( 2 ) );
  list.encLabelAndMaskIs( entry( 1 ) );
  list.encLabelAndMaskIs( entry( 2 ) );
  other.entriesAre( list.entries() );
  other.encLabelAndMaskDel( entry( 1 ) );
  other.encLabelAndMaskIs( entry( 3 ) );
  for ( std::uint16_t label = 1; label <= 3; ++label ) {
    EXPECT_EQ( label != 3, list.encLabelAndMaskHas( entry( label ) ) );
    EXPECT_EQ( label != 1, other.encLabelAndMaskHas( entry( label ) ) );
  }
}

TEST( RangeSetElem, RefusesAFirstAboveTheLastAlsoFromText ) {
  std::string const text = "RangeSetElem::first > RangeSetElem::last not allowed";
  std::string const front = "Value('Orvex::RangeSetElem', ** {'first': 80, 'last': ";
  EXPECT_EQ( RangeSetElem( 80, 80 ), Kiv::strepToValue<RangeSetElem>( front + "80})" ) );
  EXPECT_THAT( [] { RangeSetElem( 80, 79 ); }, ThrowsMessage<Kiv::RangeException>( text ) );
  EXPECT_THAT( [&] { Kiv::strepToValue<RangeSetElem>( front + "79})" ); }, ThrowsMessage<Kiv::RangeException>( text ) );
  EXPECT_THAT( [&] { Kiv::strepToValue<RangeSetElem>( front + "65536})" ); }, Throws<Kiv::ParseException>() );
}

TEST( EncodingAttr, RefusesWidthsAbove16AlsoFromText ) {
  std::string const front = "Value('Orvex::EncodingAttr', ** {'width': ";
  std::string const back = ", 'invalidEncValue': Value('Orvex::EncodedLabel', ** {'value': 9})})";
  EncodingAttr const attr( 16, EncodedLabel( 9 ) );
  ChipHwCapability const capability( Brae::ChipId( 1 ) );
  for ( auto const& [key, byDefault] : capability.prefixEncodingAttr() )
    EXPECT_EQ( EncodingAttr( 16, EncodedLabel( 0 ) ), byDefault );
  EXPECT_EQ( front + "16" + back, Kiv::valueToStrep( attr ).view() );
  EXPECT_EQ( attr, Kiv::strepToValue<EncodingAttr>( front + "16" + back ) );
  for ( std::string const width : { "17", "256", "65536" } )
    EXPECT_THAT( [&] { Kiv::strepToValue<EncodingAttr>( front + width + back ); },
                 ThrowsMessage<Kiv::RangeException>( "EncodingAttr::width < 0 or > 16 not allowed" ) );
}

}  // namespace
}  // namespace Orvex
