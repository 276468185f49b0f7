#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "Orvex/OrvexComboLabelResolverSm.h"
#include "orvex/TestSets.h"
#include "orvex/TestStages.h"

namespace Orvex {
namespace {

using Test::checkedGroups;
using Test::ComboStage;
using Test::prefixesIn;
using Test::Sets;
using Test::TraceLines;
using testing::ElementsAre;
using testing::HasSubstr;
using Vell::AddressFamily;

using Pairs = std::set<GenCombo>;
using Labels = std::set<std::uint32_t>;

Kiv::Ptr<PlainLabels> plainLabels( Labels const& labels ) {
  auto result = Kiv::make<PlainLabels>();
  for ( std::uint32_t const label : labels ) result->insert( PlainLabel( label ) );
  return result;
}

Pairs product( Labels const& src, Labels const& dst ) {
  Pairs pairs;
  for ( std::uint32_t const s : src )
    for ( std::uint32_t const d : dst ) pairs.emplace( PlainLabel( s ), PlainLabel( d ) );
  return pairs;
}

Pairs pairsOf( ComboLabelSet const& set ) {
  auto const combos = set.comboLabel();
  EXPECT_EQ( set.size(), combos.size() );
  return { combos.begin(), combos.end() };
}

Labels anyLabels( std::mt19937& random ) {
  Labels labels;
  for ( std::uint64_t count = random() % 4; count != 0; --count )
    labels.insert( static_cast<std::uint32_t>( random() % 6 + 1 ) );
  return labels;
}

void checkSplit( ComboStage const& split, std::map<std::uint64_t, Pairs> const& sets ) {
  auto const setsOf = [&]( GenCombo const& pair ) {
    Sets keys;
    for ( auto const& [key, pairs] : sets )
      if ( pairs.count( pair ) != 0 ) keys.insert( key );
    return keys;
  };
  checkedGroups( split.pieces(), setsOf, *split.status );
  Pairs all;
  for ( auto const& [key, pairs] : sets ) all.insert( pairs.begin(), pairs.end() );
  Pairs pieces;
  for ( auto const& [pair, label] : split.pieces() ) pieces.insert( pair );
  EXPECT_EQ( all, pieces );
}

TEST( ComboLabelSplitSm, ARectangleIsTheSetOfItsPairs ) {
  for ( std::uint32_t seed = 1; seed <= 200 && !HasFailure(); ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    std::mt19937 random( seed );
    ComboStage split;
    std::map<std::uint64_t, Pairs> sets;
    for ( std::uint64_t key = 1; key <= seed % 9; ++key ) {
      Labels const src = anyLabels( random );
      Labels const dst = anyLabels( random );
      sets[key] = product( src, dst );
      bool const single = random() % 2 == 0;
      if ( !single ) split.set( key )->rectangleIs( plainLabels( src ), plainLabels( dst ) );
      for ( GenCombo const& pair : sets[key] )
        if ( single ) split.set( key )->comboLabelIs( pair );
      GenCombo const odd( PlainLabel( 1 ), PlainLabel( static_cast<std::uint32_t>( random() % 6 ) ) );
      if ( random() % 3 == 0 ) {
        split.set( key )->comboLabelDel( odd );
        sets[key].erase( odd );
      } else if ( random() % 3 == 0 ) {
        split.set( key )->comboLabelIs( odd );
        sets[key].insert( odd );
      }
    }
    for ( auto const& [a, pairsOfA] : sets )
      for ( auto const& [b, pairsOfB] : sets ) {
        EXPECT_EQ( pairsOfA == pairsOfB, split.set( a )->isEqual( split.set( b ) ) );
        EXPECT_TRUE( pairsOfA != pairsOfB || split.set( a )->hash() == split.set( b )->hash() );
      }
    EXPECT_EQ( StageStatusType::finishedSuccess, split.kick() );
    checkSplit( split, sets );
  }
}

/// A resolver between two transforms and an aggregator that do not run: the test writes their statuses.
struct Resolver : Test::Stage<ComboLabelResolverConfig, ComboLabelResolverStatus, ComboLabelResolverSm> {
  explicit Resolver( ComboLabelSetType comboType = ComboStage::kType ) : type( comboType ) {
    config = Kiv::make<ComboLabelResolverConfig>( type, src, dst, aggregator );
    status = Kiv::make<ComboLabelResolverStatus>( type );
    capability->comboEncodingAttrIs( type, EncodingAttr( 0, EncodedLabel( 0 ) ) );  // the width is the split's matter
    machine = Kiv::make<ComboLabelResolverSm>( Brae::ChipId( 1 ), config, status, capability, type, generator );
    generator->genKeyIs( 100 );
  }

  void rule( std::string const& name, std::uint64_t srcKey, std::uint64_t dstKey ) const {
    auto const record = aggregator->aclGenSetIpRuleListIs( "acl" )->genSetIpRuleIs( name );
    record->sourceIs( GenSetKey( srcKey ) );
    record->destinationIs( GenSetKey( dstKey ) );
    record->rangeIs( RangeSetType::srcPort, GenSetKey( srcKey ) );
    record->rangeIs( RangeSetType::dstPort, GenSetKey( dstKey ) );
  }
  /// On both sides.
  void list( std::uint64_t key, Kiv::Ptr<PlainLabels> const& labels ) const {
    src->plainLabelListMap()->plainLabelListIs( GenSetKey( key ), labels );
    dst->plainLabelListMap()->plainLabelListIs( GenSetKey( key ), labels );
  }
  void inputsAre( StageStatusType result ) const {
    src->statusIs( result );
    dst->statusIs( result );
  }
  StageStatusType kickUnchanged() {
    inputsAre( StageStatusType::finishedSkipped );
    return kick();
  }
  /// Content of each combination set.
  std::map<std::uint64_t, Pairs> sets() const {
    std::map<std::uint64_t, Pairs> result;
    auto const& coll = status->comboLabelInfo()->comboLabelSetColl();
    for ( auto set = coll.begin(); set; ++set ) result[set.key().value()] = pairsOf( *set.value() );
    return result;
  }

  ComboLabelSetType type;
  Kiv::Ptr<RangeSplitStatus> src = Kiv::make<RangeSplitStatus>( RangeSetType::srcPort );
  Kiv::Ptr<RangeSplitStatus> dst = Kiv::make<RangeSplitStatus>( RangeSetType::dstPort );
  Kiv::Ptr<AggregatorStatus> aggregator = Kiv::make<AggregatorStatus>();
  Kiv::Ptr<GenSetKeyGenerator> generator = Kiv::make<GenSetKeyGenerator>();
};

/// The pairs of keys that rules have, in the order in which rules are walked; with the number of their users.
using KeyPairs = std::map<GenSetKeyPair, std::uint32_t>;

void checkResolved( Resolver const& resolver, KeyPairs const& used, std::map<GenSetKeyPair, Pairs> const& products,
                    std::map<std::uint64_t, Pairs> const& before, std::uint64_t keyBefore ) {
  auto const sets = resolver.sets();
  auto const& info = *resolver.status->comboLabelInfo();
  std::map<std::uint64_t, std::uint32_t> users;
  std::map<Pairs, std::uint64_t> keyOf;
  for ( auto const& [key, pairs] : before ) keyOf.emplace( pairs, key );
  EXPECT_EQ( used.size(), info.srcDstToComboMap().size() );
  for ( auto const& [pair, count] : used ) {
    ASSERT_TRUE( info.srcDstToComboMapHas( pair ) );
    std::uint64_t const key = info.srcDstToComboMap().find( pair )->value();
    ASSERT_EQ( 1U, sets.count( key ) );
    EXPECT_EQ( products.at( pair ), sets.at( key ) );
    EXPECT_TRUE( key > keyBefore || before.count( key ) != 0 ) << "a key was issued twice";
    EXPECT_EQ( key, keyOf.emplace( products.at( pair ), key ).first->second ) << "equal sets have two keys";
    users[key] += count;
  }
  std::map<std::uint64_t, std::uint32_t> counted;
  auto const& counts = resolver.status->genSetUsageInfo()->refCount();
  for ( auto count = counts.begin(); count; ++count ) counted[count.key().value()] = count.value().value;
  EXPECT_EQ( users, counted );
  EXPECT_EQ( users.size(), sets.size() ) << "what no rule uses is swept";
  EXPECT_EQ( keyBefore + used.size(), resolver.generator->genKey() ) << "each pair of sets takes a key";
}

TEST( ComboLabelResolverSm, FollowsRulesAndLabelsFromKickToKick ) {
  for ( std::uint32_t seed = 1; seed <= 150 && !HasFailure(); ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    std::mt19937 random( seed );
    Resolver resolver;
    ComboStage split( 16, resolver.status->comboLabelInfo() );
    std::map<std::uint64_t, Labels> labels;
    std::map<std::uint64_t, Kiv::Ptr<PlainLabels>> objects;
    std::vector<GenSetKeyPair> lastPairs;
    Sets lastKeys;
    for ( int kick = 0; kick != 8; ++kick ) {
      bool const relabelled = kick == 0 || random() % 3 == 0;
      for ( std::uint64_t key = 1; relabelled && key <= 4; ++key ) {
        bool const shared = key == 2 && random() % 2 == 0;
        labels[key] = shared ? labels[1] : anyLabels( random );
        objects[key] = shared ? objects[1] : plainLabels( labels[key] );
        resolver.list( key, objects[key] );
      }
      resolver.inputsAre( relabelled ? StageStatusType::finishedSuccess : StageStatusType::finishedSkipped );
      for ( std::uint64_t edits = random() % 4; edits != 0; --edits )
        resolver.rule( std::to_string( random() % 6 ), random() % 5, random() % 5 );  // 0: no set on that side

      std::vector<GenSetKeyPair> pairs;
      KeyPairs used;
      std::map<GenSetKeyPair, Pairs> products;
      auto const list = resolver.aggregator->aclGenSetIpRuleListIs( "acl" );
      for ( auto rule = list->genSetIpRule().begin(); rule; ++rule ) {
        GenSetKeyPair const pair( rule.value()->sport(), rule.value()->dport() );
        if ( pair.src.value() == 0 || pair.dst.value() == 0 ) continue;
        pairs.push_back( pair );
        ++used[pair];
        products[pair] = product( labels[pair.src.value()], labels[pair.dst.value()] );
      }
      auto const before = resolver.sets();
      std::uint64_t const keyBefore = resolver.generator->genKey();
      if ( !relabelled && pairs == lastPairs ) {
        EXPECT_EQ( StageStatusType::finishedSkipped, resolver.kick() );
        EXPECT_EQ( before, resolver.sets() );
        EXPECT_EQ( keyBefore, resolver.generator->genKey() );
      } else {
        EXPECT_EQ( StageStatusType::finishedSuccess, resolver.kick() );
        checkResolved( resolver, used, products, before, keyBefore );
      }
      Sets keys;
      for ( auto const& [key, content] : resolver.sets() ) keys.insert( key );
      EXPECT_EQ( kick != 0 && keys == lastKeys ? StageStatusType::finishedSkipped : StageStatusType::finishedSuccess,
                 split.kick() );
      checkSplit( split, resolver.sets() );
      lastPairs = pairs;
      lastKeys = keys;
    }
  }
}

TEST( ComboLabelResolverSm, AnEntryWithoutWidthTurnsItOnButNotTheSplit ) {
  Resolver resolver;
  ComboStage split( 0, resolver.status->comboLabelInfo() );
  resolver.list( 1, plainLabels( { 1, 2 } ) );
  resolver.rule( "a", 1, 1 );
  EXPECT_EQ( StageStatusType::finishedSuccess, resolver.kick() );
  EXPECT_EQ( StageStatusType::finishedNotEnabled, split.kick() );
  EXPECT_EQ( 1U, resolver.sets().size() );
  resolver.capability->comboEncodingAttrDelAll();
  EXPECT_EQ( StageStatusType::finishedNotEnabled, resolver.kick() );
}

/// A failure leaves nothing behind, so the next kick forms the sets though its input has not changed.
TEST( ComboLabelResolverSm, ASetWithMorePairsThanTheLimitEndsTheKick ) {
  Resolver resolver;
  resolver.list( 1, plainLabels( { 1, 2, 3 } ) );
  resolver.list( 2, plainLabels( { 5, 6 } ) );
  resolver.rule( "a", 1, 2 );
  resolver.rule( "b", 2, 2 );
  resolver.capability->maxComboPairsIs( 6 );
  EXPECT_EQ( StageStatusType::finishedSuccess, resolver.kick() );
  resolver.capability->maxComboPairsIs( 5 );
  resolver.inputsAre( StageStatusType::finishedSuccess );
  TraceLines const trace( 0 );
  EXPECT_EQ( StageStatusType::finishedFailed, resolver.kick() );
  EXPECT_THAT( trace.lines, ElementsAre( HasSubstr( "source set 1 and destination set 2 have 6 pairs" ) ) );
  EXPECT_EQ( 0U, resolver.sets().size() );
  EXPECT_EQ( StageStatusType::finishedFailed, resolver.kickUnchanged() );
  resolver.capability->maxComboPairsIs( 0 );
  EXPECT_EQ( StageStatusType::finishedSuccess, resolver.kickUnchanged() );
  EXPECT_EQ( 2U, resolver.sets().size() );
  EXPECT_EQ( StageStatusType::finishedSkipped, resolver.kickUnchanged() );
}

/// Were a set without labels taken for an empty one, all its rules would share one empty combination and match nothing.
TEST( ComboLabelResolverSm, ASetWithoutLabelsIsAFailureUnlessItIsEmpty ) {
  TraceLines const trace( 0 );
  Resolver ports;
  ports.list( 1, plainLabels( { 1 } ) );
  ports.rule( "a", 1, 2 );
  EXPECT_EQ( StageStatusType::finishedFailed, ports.kick() );
  EXPECT_THAT( trace.lines, ElementsAre( HasSubstr( "doBuildComboLabelSet: destination set 2 has no plain labels" ) ) );

  Resolver networks( ComboLabelSetType::ipv4SrcDstPrefix );
  ComboStage split( 16, networks.status->comboLabelInfo() );
  networks.list( 1, plainLabels( { 1, 2 } ) );
  networks.rule( "a", 1, 1 );
  networks.rule( "b", 1, 2 );
  networks.rule( "c", 2, 1 );
  auto const setIs = [&]( bool src, std::string const& content ) {
    auto const info = networks.aggregator->prefixInfoIs( PrefixXformKey( AddressFamily::ipv4, src ) );
    info->prefixSetCollIs( GenSetKey( 2 ) )->prefixIs( prefixesIn( content ).own );
  };
  setIs( true, "" );
  setIs( false, "" );
  EXPECT_EQ( StageStatusType::finishedSuccess, networks.kick() );
  EXPECT_EQ( StageStatusType::finishedSuccess, split.kick() );
  EXPECT_EQ( 2U, networks.sets().size() ) << "the empty combinations are one";
  EXPECT_EQ( 1U, split.status->plainLabelListMap()->plainLabelList().size() );
  setIs( true, "10.0.0.0/8" );
  EXPECT_EQ( StageStatusType::finishedFailed, networks.kick() );
}

}  // namespace
}  // namespace Orvex
