#include "Orvex/OrvexDedup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Orvex/OrvexAggregatorSm.h"
#include "orvex/TestPolicy.h"

namespace Orvex {
namespace {
using Test::prefixes;

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

TEST( DedupableList, HoldsObjectsInTheOrderInWhichTheyCame ) {
  using Members = std::vector<DedupableList::Member>;
  auto const first = Kiv::make<Thing>( 1, 1U );
  auto const second = Kiv::make<Thing>( 2, 2U );
  for ( auto const& [dropped, left] : { std::pair{ first, second }, std::pair{ second, first } } ) {
    DedupableList list( 0 );
    list.dedupedObjIs( first, true );
    list.dedupedObjIs( second, true );
    EXPECT_EQ( ( Members{ { first, true }, { second, true } } ), list.dedupedObj() );
    list.dedupedObjIs( left, false );
    list.dedupedObjDel( dropped );
    EXPECT_EQ( ( Members{ { left, false } } ), list.dedupedObj() );
    EXPECT_EQ( nullptr, list.find( dropped ) );
    EXPECT_EQ( left, list.find( left ) );
  }
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

TEST( DedupMarkAndSweeper, FindsWhatIsBehindAnObjectThatWasDropped ) {
  auto const collector = Kiv::make<Collector>();
  Kiv::Ptr<Thing> const things[] = { Kiv::make<Thing>( 1, 1U ), Kiv::make<Thing>( 2, 2U ), Kiv::make<Thing>( 3, 3U ) };
  for ( auto const& thing : things ) collector->addDeduped( thing );
  collector->unmarkAll();
  collector->dedupedDel( things[0] );
  collector->addDeduped( things[2] );
  collector->sweepUnmarked();
  EXPECT_EQ( std::vector<std::uint64_t>{ 2 }, collector->swept );
  ASSERT_EQ( 1U, collector->deduped().size() );
  EXPECT_EQ( things[2], collector->deduped()[0].object );
}

TEST( PrefixListDedup, ListsAreEqualByContentUntilOneIsEdited ) {
  auto const list = prefixes( "10.0.0.0/8" );
  auto const before = Kiv::make<PrefixListDedup>( list );
  auto const other = Kiv::make<PrefixListDedup>( prefixes( "10.0.0.0/8" ) );
  EXPECT_TRUE( before->isEqual( other ) );
  list->addrIs( Vell::IpGenPrefix( 0x0A000000, 9 ) );
  list->addrDel( Vell::IpGenPrefix( 0x0A000000, 9 ) );
  EXPECT_FALSE( before->isEqual( other ) );
  EXPECT_FALSE( before->isEqual( Kiv::make<PrefixListDedup>( list ) ) );
  EXPECT_TRUE( other->isEqual( Kiv::make<PrefixListDedup>( list ) ) );
}

TEST( PrefixListDedup, ANewListNeverGetsTheSetOfAFreedOne ) {
  PrefixXformKey const space( Vell::AddressFamily::ipv4, true );
  auto const info = Kiv::make<PrefixAggregatorInfo>( space );
  auto const collector = Kiv::make<PrefixDedupMarkAndSweeper>( space, info, Brae::ChipId( 1 ) );
  for ( std::uint64_t key = 1; key != 50; ++key ) {
    collector->unmarkAll();
    // The list is freed at once, unless the collector holds it.
    auto const wrapper = Kiv::make<PrefixListDedup>( prefixes( "10.0.0.0/8" ) );
    EXPECT_EQ( GenSetKey(), collector->addDeduped( wrapper ) );
    wrapper->prefixSetIs( info->prefixSetCollIs( GenSetKey( key ) ) );
    collector->sweepUnmarked();
  }
}

}  // namespace
}  // namespace Orvex
