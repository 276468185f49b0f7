#include "Orvex/OrvexGenSetTypes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>

#include "Orvex/OrvexHwCapability.h"
#include "orvex/LiteralHash.h"
#include "orvex/TestPolicy.h"

namespace Orvex {
namespace {

using Test::LiteralHash;
using Test::prefix;
using testing::Throws;
using testing::ThrowsMessage;

/// What the four kinds of sets have in common, so that one test tries each. `typeWord` leads the hash where there is one.
struct RangeSets {
  using Set = RangeSet;
  using Member = RangeSetElem;
  static constexpr std::optional<std::uint32_t> typeWord = 5;
  static Kiv::Ptr<Set> make( std::uint64_t key ) { return Kiv::make<Set>( GenSetKey( key ), RangeSetType::fragment ); }
  static Member any( std::mt19937& random ) {
    auto const first = static_cast<std::uint16_t>( random() );
    return { first, static_cast<std::uint16_t>( first | random() ) };
  }
  static void add( Set& set, Member const& member ) { set.rangeIs( member ); }
  static void addAll( Set& set, std::vector<Member> members ) { set.rangeIs( std::move( members ) ); }
  static void del( Set& set, Member const& member ) { set.rangeDel( member ); }
  static auto const& members( Set const& set ) { return set.range(); }
};

struct ComboLabelSets {
  using Set = ComboLabelSet;
  using Member = GenCombo;
  static constexpr std::optional<std::uint32_t> typeWord = 2;
  static Kiv::Ptr<Set> make( std::uint64_t key ) {
    return Kiv::make<Set>( GenSetKey( key ), ComboLabelSetType::srcDstL4Port );
  }
  static Member any( std::mt19937& random ) {
    return { PlainLabel( static_cast<std::uint32_t>( random() ) ),
             PlainLabel( static_cast<std::uint32_t>( random() % 3 ) ) };
  }
  static void add( Set& set, Member const& member ) { set.comboLabelIs( member ); }
  static void addAll( Set& set, std::vector<Member> const& members ) {
    for ( Member const& member : members ) set.comboLabelIs( member );
  }
  static void del( Set& set, Member const& member ) { set.comboLabelDel( member ); }
  static auto members( Set const& set ) { return set.comboLabel(); }
};

struct KeyGroups {
  using Set = GenSetKeyGroup;
  using Member = GenSetKey;
  static constexpr std::optional<std::uint32_t> typeWord = std::nullopt;
  static Kiv::Ptr<Set> make( std::uint64_t ) { return Kiv::make<Set>(); }
  static Member any( std::mt19937& random ) { return GenSetKey( std::uint64_t{ random() } << 20 ); }
  static void add( Set& set, Member member ) { set.keyGroupIs( member ); }
  static void addAll( Set& set, std::vector<Member> members ) {
    set.addToKeyGroup( *Kiv::make<Set>( std::move( members ) ) );
  }
  static void del( Set& set, Member member ) { set.removeFromKeyGroup( *Kiv::make<Set>( std::vector{ member } ) ); }
  static auto members( Set const& set ) { return set.keyGroup(); }
};

template <class Kind>
class SetHash : public testing::Test {};
using Kinds = testing::Types<RangeSets, ComboLabelSets, KeyGroups>;
TYPED_TEST_SUITE( SetHash, Kinds );

/// The definition: the type, if the kind has one, and the 64-bit sum of the members' hashes.
template <class Kind>
std::uint32_t literalHash( typename Kind::Set const& set ) {
  std::uint64_t sum = 0;
  for ( auto const& member : Kind::members( set ) ) sum += member.hash();
  LiteralHash hash;
  if ( Kind::typeWord ) hash.feed( *Kind::typeWord, 4 );
  return hash.feed( sum, 8 ).result();
}

TYPED_TEST( SetHash, IsThatOfTheSumHoweverTheSetCameAbout ) {
  for ( std::uint32_t seed = 1; seed <= 20; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    std::mt19937 random( seed );
    std::vector<typename TypeParam::Member> kept, passing;
    for ( std::uint32_t i = 0; i != 10 * seed; ++i )
      ( i % 3 == 0 ? passing : kept ).push_back( TypeParam::any( random ) );

    auto const atOnce = TypeParam::make( 1 ), oneByOne = TypeParam::make( 2 );
    TypeParam::addAll( *atOnce, kept );
    auto all = kept;
    all.insert( all.end(), passing.begin(), passing.end() );
    std::shuffle( all.begin(), all.end(), random );
    for ( auto const& member : all ) TypeParam::add( *oneByOne, member );
    for ( auto const& member : passing ) TypeParam::del( *oneByOne, member );

    EXPECT_EQ( literalHash<TypeParam>( *atOnce ), atOnce->hash() );
    EXPECT_EQ( atOnce->hash(), oneByOne->hash() );
    EXPECT_TRUE( atOnce->isEqual( oneByOne ) );
    TypeParam::del( *oneByOne, kept[0] );
    EXPECT_EQ( literalHash<TypeParam>( *oneByOne ), oneByOne->hash() );
    EXPECT_FALSE( atOnce->isEqual( oneByOne ) );
    TypeParam::add( *oneByOne, passing[0] );  // as many members as atOnce, but others
    EXPECT_FALSE( atOnce->isEqual( oneByOne ) );
    EXPECT_FALSE( atOnce->isEqual( nullptr ) );
  }
}

TYPED_TEST( SetHash, OfAnEmptySetIsThatOfASumOf0 ) {
  auto const set = TypeParam::make( 7 );
  EXPECT_EQ( literalHash<TypeParam>( *set ), set->hash() );
  EXPECT_TRUE( set->isEqual( TypeParam::make( 8 ) ) );
}

TEST( GenSet, OfAnotherTypeOrClassIsAnotherSet ) {
  auto const sport = Kiv::make<RangeSet>( GenSetKey( 1 ), RangeSetType::srcPort );
  auto const dport = Kiv::make<RangeSet>( GenSetKey( 1 ), RangeSetType::dstPort );
  auto const combo = Kiv::make<ComboLabelSet>( GenSetKey( 1 ), ComboLabelSetType::ipv4SrcDstPrefix );
  sport->rangeIs( RangeSetElem( 1, 10 ) );
  dport->rangeIs( RangeSetElem( 1, 10 ) );
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

TEST( GenSet, TextIsOneLineAndEndsWithMoreWhenItIsLong ) {
  auto const prefixes = Kiv::make<PrefixSet>( GenSetKey( 3 ) );
  prefixes->prefixIs( prefix( "10.0.0.0/8" ) );
  prefixes->exceptPrefixIs( prefix( "10.1.0.0/16" ) );
  EXPECT_EQ( "Key: 3 10.0.0.0/8, Except:  10.1.0.0/16", prefixes->stringValue().view() );
  auto const ranges = Kiv::make<RangeSet>( GenSetKey( 4 ), RangeSetType::icmp );
  ranges->rangeIs( { RangeSetElem( 20, 30 ), RangeSetElem( 8, 8 ) } );
  EXPECT_EQ( "Key: 4, type: icmp 8-8 20-30", ranges->stringValue().view() );
  for ( std::uint16_t i = 100; i != 200; ++i ) ranges->rangeIs( RangeSetElem( i, i ) );
  EXPECT_THAT( std::string( ranges->stringValue().view() ), testing::EndsWith( " more" ) );
  auto const combos = Kiv::make<ComboLabelSet>( GenSetKey( 5 ), ComboLabelSetType::srcDstL4Port );
  combos->comboLabelIs( GenCombo( PlainLabel( 1 ), PlainLabel( 2 ) ) );
  EXPECT_EQ( "Key: 5, type: srcDstL4Port (1, 2)", combos->stringValue().view() );
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
  EXPECT_EQ( front + "16" + back, Kiv::valueToStrep( attr ).view() );
  EXPECT_EQ( attr, Kiv::strepToValue<EncodingAttr>( front + "16" + back ) );
  for ( std::string const width : { "17", "256" } )
    EXPECT_THAT( [&] { Kiv::strepToValue<EncodingAttr>( front + width + back ); },
                 ThrowsMessage<Kiv::RangeException>( "EncodingAttr::width < 0 or > 16 not allowed" ) );
}

TEST( GenSetKeyGenerator, IssuesFrom1 ) {
  auto const keys = Kiv::make<GenSetKeyGenerator>();
  EXPECT_EQ( 1U, keys->genKeyInc( 1 ) );
  EXPECT_EQ( 2U, keys->genKeyInc( 1 ) );
}

}  // namespace
}  // namespace Orvex
