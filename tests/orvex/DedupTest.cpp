#include "Orvex/OrvexDedup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "Orvex/OrvexAggregatorSm.h"
#include "orvex/TestPolicy.h"

namespace Orvex {
namespace {

using Test::prefix;
using Test::prefixes;
using testing::ElementsAre;
using testing::IsEmpty;

/// An object with a content and a key. Contents share four hashes, so that unequal objects meet.
class Thing : public Dedupable {
 public:
  Thing( int thingContent, std::uint64_t thingKey ) : content( thingContent ), key( thingKey ) {}

  std::uint32_t hash() const override {
    ++hashed;
    return static_cast<std::uint32_t>( content % 4 );
  }
  bool isEqual( Kiv::Ptr<Dedupable const> const& other ) const override {
    auto const* const thing = dynamic_cast<Thing const*>( other.get() );
    return thing != nullptr && content == thing->content;
  }

  int const content;
  GenSetKey const key;
  mutable int hashed = 0;
};

/// Logs the keys swept.
class Collector : public DedupMarkAndSweeper {
 public:
  void doCleanupSweptEntry( GenSetKey key ) override { swept.push_back( key.value() ); }
  GenSetKey getGenSetKey( Kiv::Ptr<Dedupable const> const& object ) const override {
    return Kiv::ptrCast<Thing const>( object )->key;
  }

  std::vector<std::uint64_t> swept;
};

TEST( Deduper, KeepsUnequalObjectsOfOneHashInOneListAndReturnsTheFirstOfEachContent ) {
  auto const deduper = Kiv::make<Deduper>();
  auto const two = Kiv::make<Thing>( 2, 1U ), six = Kiv::make<Thing>( 6, 2U ), three = Kiv::make<Thing>( 3, 3U );
  for ( auto const& thing : { two, six, three } ) EXPECT_EQ( thing, deduper->addObj( thing ) );
  EXPECT_EQ( six, deduper->addObj( Kiv::make<Thing>( 6, 4U ) ) );
  EXPECT_EQ( 2U, deduper->dedupedHash().size() );
  auto list = deduper->dedupedHash().find( 2 );
  ASSERT_EQ( 2U, list->dedupedObj().size() );
  EXPECT_EQ( two, list->dedupedObj()[0].object );
  list->dedupedObjDel( two );
  EXPECT_EQ( nullptr, list->find( two ) );
  EXPECT_EQ( six, list->find( Kiv::make<Thing>( 6, 5U ) ) );
  deduper->clear();
  auto const newcomer = Kiv::make<Thing>( 6, 6U );
  EXPECT_EQ( newcomer, deduper->addObj( newcomer ) );
}

/// Random passes against the list of contents that the last pass used, in the order in which they first came.
TEST( DedupMarkAndSweeper, PassesKeepTheKeysOfWhatIsUsedAndSweepTheRestInOrderOfArrival ) {
  std::uint32_t const seed = 1;
  SCOPED_TRACE( testing::Message() << "seed " << seed );
  std::mt19937 random( seed );
  auto const collector = Kiv::make<Collector>();
  std::vector<Kiv::Ptr<Thing>> known;
  std::uint64_t lastKey = 0;
  for ( int pass = 0; pass != 200; ++pass ) {
    std::vector<bool> used( known.size() );
    collector->unmarkAll();
    for ( auto uses = random() % 30; uses != 0; --uses ) {
      auto const thing = Kiv::make<Thing>( static_cast<int>( random() % 40 ), ++lastKey );
      auto at = std::find_if( known.begin(), known.end(), [&]( auto const& each ) { return each->isEqual( thing ); } );
      if ( at == known.end() ) {
        at = known.insert( at, thing );
        used.push_back( true );
      }
      used[static_cast<std::size_t>( at - known.begin() )] = true;
      EXPECT_EQ( ( *at )->key, collector->addDeduped( thing ) );
    }
    collector->sweepUnmarked();

    std::vector<Kiv::Ptr<Thing>> kept;
    std::vector<std::uint64_t> swept;
    for ( std::size_t i = 0; i != known.size(); ++i ) {
      EXPECT_EQ( 1, known[i]->hashed );
      if ( used[i] )
        kept.push_back( known[i] );
      else
        swept.push_back( known[i]->key.value() );
    }
    known = kept;
    EXPECT_EQ( swept, std::exchange( collector->swept, {} ) );
    ASSERT_EQ( known.size(), collector->deduped().size() );
    for ( std::size_t i = 0; i != known.size(); ++i ) {
      EXPECT_EQ( known[i], collector->deduped()[i].object );
      EXPECT_TRUE( collector->deduped()[i].mark );
    }
    EXPECT_TRUE( collector->dedupedHash().empty() );
  }
}

TEST( DedupMarkAndSweeper, ADeletedEntryLeavesTheOthersWhereTheyAre ) {
  auto const collector = Kiv::make<Collector>();
  std::vector<Kiv::Ptr<Thing>> things;
  for ( int content = 0; content != 5; ++content ) {
    things.push_back( Kiv::make<Thing>( content, 100U + static_cast<unsigned>( content ) ) );
    collector->addDeduped( things.back() );
  }
  collector->dedupedDel( things[1] );
  collector->dedupedDel( things[1] );
  collector->dedupedIs( things[3], false );
  collector->sweepUnmarked();
  EXPECT_THAT( collector->swept, ElementsAre( 103 ) );
  EXPECT_EQ( 3U, collector->deduped().size() );
}

/// A collector of prefix lists whose sets are built as the aggregator builds them.
class PrefixListDedupTest : public testing::Test {
 protected:
  /// The key under which the list's set is known, or a new one.
  std::uint64_t keyOf( Kiv::Ptr<IpPrefixList> const& list ) {
    auto const wrapper = Kiv::make<PrefixListDedup>( list );
    GenSetKey const known = collector->addDeduped( wrapper );
    if ( known != GenSetKey() ) return known.value();
    GenSetKey const key( ++lastKey );
    wrapper->prefixSetIs( info->prefixSetCollIs( key ) );
    return key.value();
  }
  std::uint64_t keyAfterOnePass( Kiv::Ptr<IpPrefixList> const& list ) {
    collector->unmarkAll();
    auto const key = keyOf( list );
    collector->sweepUnmarked();
    return key;
  }

  PrefixXformKey const space{ Vell::AddressFamily::ipv4, true };
  Kiv::Ptr<PrefixAggregatorInfo> const info = Kiv::make<PrefixAggregatorInfo>( space );
  Kiv::Ptr<PrefixDedupMarkAndSweeper> const collector =
      Kiv::make<PrefixDedupMarkAndSweeper>( space, info, Brae::ChipId( 1 ) );
  std::uint64_t lastKey = 0;
};

TEST_F( PrefixListDedupTest, AListKeepsItsSetAndAnotherOfEqualContentGetsItsOwn ) {
  auto const list = prefixes( "10.0.0.0/8" );
  EXPECT_EQ( 1U, keyOf( list ) );
  EXPECT_EQ( 2U, keyOf( prefixes( "10.0.0.0/8" ) ) );
  EXPECT_EQ( 1U, keyAfterOnePass( list ) );
  EXPECT_TRUE( info->prefixSetCollHas( GenSetKey( 1 ) ) );
  EXPECT_FALSE( info->prefixSetCollHas( GenSetKey( 2 ) ) );
}

TEST_F( PrefixListDedupTest, AnEditedListGetsANewSetAlsoWhenItsOldContentIsBack ) {
  auto const list = prefixes( "10.0.0.0/8" );
  EXPECT_EQ( 1U, keyAfterOnePass( list ) );
  list->addrIs( prefix( "10.0.0.0/8" ) );
  EXPECT_EQ( 1U, keyAfterOnePass( list ) );
  list->addrIs( prefix( "11.0.0.0/8" ) );
  EXPECT_EQ( 2U, keyAfterOnePass( list ) );
  list->exceptAddrIs( prefix( "11.1.0.0/16" ) );
  EXPECT_EQ( 3U, keyAfterOnePass( list ) );
  list->copy( *prefixes( "10.0.0.0/8" ) );
  EXPECT_EQ( 4U, keyAfterOnePass( list ) );
  EXPECT_EQ( 4U, keyAfterOnePass( list ) );
  EXPECT_EQ( 1U, info->prefixSetColl().size() );
}

TEST_F( PrefixListDedupTest, ANewListNeverGetsTheSetOfAFreedOne ) {
  for ( std::uint64_t key = 1; key != 50; ++key ) {
    collector->unmarkAll();
    EXPECT_EQ( key, keyOf( prefixes( "10.0.0.0/8" ) ) );  // freed at once, unless the collector holds it
    collector->sweepUnmarked();
  }
}

TEST_F( PrefixListDedupTest, WithoutAListHashes0AndEqualsItsLike ) {
  auto const none = Kiv::make<PrefixListDedup>( nullptr );
  auto const some = Kiv::make<PrefixListDedup>( prefixes( "10.0.0.0/8" ) );
  EXPECT_EQ( 0U, none->hash() );
  EXPECT_TRUE( none->isEqual( Kiv::make<PrefixListDedup>( nullptr ) ) );
  EXPECT_FALSE( none->isEqual( some ) );
  EXPECT_FALSE( some->isEqual( none ) );
  EXPECT_FALSE( some->isEqual( nullptr ) );
  EXPECT_FALSE( some->isEqual( some->prefixList() ) );
  EXPECT_TRUE( some->isEqual( Kiv::make<PrefixListDedup>( prefixes( "10.0.0.0/8" ) ) ) );  // when hashes collide
}

using DedupDeathTest = PrefixListDedupTest;

TEST_F( DedupDeathTest, AnObjectOfTheWrongClassIsFatal ) {
  auto const thing = Kiv::make<Thing>( 1, 1U );
  auto const ranges = Kiv::make<RangeDedupMarkAndSweeper>(
      RangeSetType::dscp, Kiv::make<RangeSplitAggregatorInfo>( RangeSetType::dscp ), Brae::ChipId( 1 ) );
  EXPECT_DEATH( collector->getGenSetKey( thing ), "fatal check failed: prefixListDedup" );
  EXPECT_DEATH( ranges->getGenSetKey( thing ), "fatal check failed: rangeSet" );
  EXPECT_DEATH( Kiv::make<DedupMarkAndSweeper>()->getGenSetKey( thing ), "false && \"Not implemented\"" );
}

}  // namespace
}  // namespace Orvex
