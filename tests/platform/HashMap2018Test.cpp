#include "Kiv/HashMap2018.h"

#include <gtest/gtest.h>

#include "platform/MapModel.h"

namespace {

using Kiv::HashMap2018;
using Kiv::HashSet2018;
using Kiv::String;

static_assert( sizeof( HashMap2018<std::uint64_t, String> ) <= 32 );
static_assert( std::is_nothrow_default_constructible_v<HashMap2018<std::uint64_t, String>>, "allocates nothing" );

std::uint32_t mixed( std::uint32_t id ) { return Kiv::hashOf( id ); }
std::uint32_t same( std::uint32_t ) { return 0x12345678; }
std::uint32_t few( std::uint32_t id ) { return Kiv::hashOf( id % 7 ); }
std::uint32_t firstOrLast( std::uint32_t id ) { return id % 3 == 0 ? 0 : 0xFFFFFFFF; }
std::uint32_t lastBuckets( std::uint32_t id ) { return Kiv::bitReverse( 0xFFFFFFFF - id / 2 ); }
std::uint32_t oneRun( std::uint32_t id ) { return Kiv::bitReverse( id ); }
std::uint32_t runs( std::uint32_t id ) { return Kiv::bitReverse( ( id % 2 << 31 ) + id ); }

template <std::uint32_t ( *hashFunction )( std::uint32_t )>
struct HashedKey {
  std::uint32_t id;

  explicit HashedKey( std::uint32_t number ) : id( number ) {}
  std::uint32_t hash() const { return hashFunction( id ); }
  bool operator==( HashedKey const& ) const = default;
};

TEST( HashMap2018, AgreesWithAModelHoweverItsHashesAreSpread ) {
  MapModel::run<HashMap2018<HashedKey<mixed>, String>>();
  MapModel::run<HashMap2018<HashedKey<same>, String>>();
  MapModel::run<HashMap2018<HashedKey<few>, String>>();
  MapModel::run<HashMap2018<HashedKey<firstOrLast>, String>>();
  MapModel::run<HashMap2018<HashedKey<lastBuckets>, String>>();
  MapModel::run<HashMap2018<HashedKey<runs>, String>>();
}

// Members that come in ascending order form one run in the first homes of a table that is still small. Here it never
// spreads out: searches that walk through it look at 5 * 10^11 slots, which takes minutes.
TEST( HashMap2018, SearchesGallopThroughARunOfAscendingMembers ) {
  using Key = HashedKey<oneRun>;
  HashSet2018<Key> set, copy;
  for ( std::uint32_t i = 0; i < 500000; ++i ) set.insert( Key( i ) );
  for ( Key const key : set ) EXPECT_TRUE( copy.insert( key ) );
  EXPECT_TRUE( copy == set );
  std::uint32_t visited = 0;
  for ( Key const key : set ) {
    set.set( Key( 500000 + key.id % 2 ), {} );
    set.erase( Key( 500000 + key.id % 2 ) );
    ++visited;
  }
  EXPECT_EQ( 500000U, visited );
  for ( std::uint32_t i = 500000; i-- > 0; ) EXPECT_TRUE( copy.erase( Key( i ) ) );
}

// As above with mixed hashes, where growth dissolves the run again and again. Looking for the first member from the
// first slot on would look at 10^11 slots when the map is then emptied from the front.
TEST( HashMap2018, FillingInIterationOrderAndEmptyingFromTheFrontAreLinear ) {
  HashMap2018<std::uint32_t, std::uint32_t> map, copy;
  for ( std::uint32_t i = 0; i < 500000; ++i ) map.insert( i, i );
  for ( auto const [key, value] : map ) EXPECT_TRUE( copy.insert( key, value ) );
  EXPECT_TRUE( copy == map );
  while ( !copy.empty() ) copy.erase( copy.begin().key() );
  EXPECT_FALSE( copy == map );
}

// Members that are there already were pushed along in front of those that come in order: hundreds of moves a newcomer
// at this size, and more in larger maps.
TEST( HashMap2018, FillingAMapThatHasMembersInIterationOrderMovesFewMembers ) {
  struct Counted {
    explicit Counted( std::size_t& moveCount ) : moves( &moveCount ) {}
    Counted( Counted&& other ) noexcept : moves( other.moves ) { ++*moves; }
    Counted( Counted const& ) = default;
    Counted& operator=( Counted const& ) = default;
    bool operator==( Counted const& ) const = default;
    std::size_t* moves;
  };
  std::size_t moves = 0;
  HashSet2018<std::uint32_t> newcomers;
  HashMap2018<std::uint32_t, Counted> map;
  for ( std::uint32_t i = 0; i < 100000; ++i ) newcomers.insert( i );
  for ( std::uint32_t i = 0; i < 10000; ++i ) map.insert( i, Counted( moves ) );
  moves = 0;
  for ( std::uint32_t const key : newcomers ) map.insert( key, Counted( moves ) );
  EXPECT_EQ( newcomers.size(), map.size() );
  EXPECT_LT( moves / newcomers.size(), 40U );
}

TEST( HashMap2018, ReadingADeletedMemberIsFatal ) {
  HashSet2018<std::uint32_t> set;
  set.insert( 7 );
  set.insert( 8 );
  auto const at = set.begin();
  set.erase( *at );
  EXPECT_DEATH( *at, "fatal check failed" );
  set.clear();
  EXPECT_DEATH( *at, "fatal check failed" );
}

TEST( HashMap2018, EqualityIgnoresTheOrderOfEqualHashes ) {
  HashMap2018<HashedKey<same>, int> ascending, descending;
  for ( std::uint32_t i = 0; i < 10; ++i ) {
    ascending.set( HashedKey<same>( i ), 1 );
    descending.set( HashedKey<same>( 9 - i ), 1 );
  }
  EXPECT_TRUE( ascending == descending );
  descending.set( HashedKey<same>( 3 ), 2 );
  EXPECT_FALSE( ascending == descending );
}

TEST( HashMap2018, CopiesAreIndependentAndMovedMapsAreEmpty ) {
  HashMap2018<std::uint32_t, String> map;
  for ( std::uint32_t i = 0; i < 100; ++i ) map.set( i, "a" );
  auto const at = map.begin();
  HashMap2018<std::uint32_t, String> copy = map;
  copy.set( 5, "b" );
  HashMap2018<std::uint32_t, String> const moved = std::move( map );
  EXPECT_EQ( "a", *moved.find( 5 ) );
  EXPECT_TRUE( map.empty() );
  EXPECT_DEATH( at.key(), "fatal check failed" );
  map = std::move( copy );
  EXPECT_EQ( "b", *map.find( 5 ) );
  EXPECT_EQ( moved.begin().key(), at.key() );  // the place holds a member again
}

TEST( HashMap2018, UpdateChangesTheStoredValueAndMustLeaveTheMapAlone ) {
  HashMap2018<std::uint32_t, int> map;
  map.set( 1, 10 );
  EXPECT_TRUE( map.update( 1, []( int& value ) { ++value; } ) );
  EXPECT_FALSE( map.update( 2, []( int& value ) { ++value; } ) );
  EXPECT_EQ( 11, map.find( 1 ) );
  EXPECT_DEATH( map.update( 1, [&]( int& ) { map.erase( 1 ); } ), "fatal check failed" );
}

TEST( HashMap2018, DestructorsOfValuesMayUseTheMap ) { MapModel::expectDestructorsMayUse<HashMap2018>(); }

}  // namespace
