#include "Kiv/RbTreeMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/MapModel.h"

namespace {

using Kiv::RbTreeMap;
using Kiv::RbTreeSet;
using testing::ElementsAre;

TEST( RbTreeMap, AgreesWithAModel ) { MapModel::run<RbTreeMap<MapModel::OrderedKey, Kiv::String>>(); }

TEST( RbTreeMap, SetsYieldTheirKeysInAscendingOrder ) {
  RbTreeSet<int> set;
  EXPECT_FALSE( set.first() );
  for ( int const key : { 30, 10, 20 } ) EXPECT_TRUE( set.insert( key ) );
  std::vector<int> keys;
  for ( int const key : set ) keys.push_back( key );
  EXPECT_THAT( keys, ElementsAre( 10, 20, 30 ) );
  EXPECT_EQ( 10, set.first() );
  EXPECT_EQ( 30, set.last() );
}

TEST( RbTreeMap, ReadingADeletedMemberIsFatal ) {
  RbTreeMap<int, int> map;
  map.set( 1, 1 );
  auto const at = map.begin();
  map.clear();
  EXPECT_DEATH( at.value(), "fatal check failed" );
  map = RbTreeMap<int, int>();
  EXPECT_DEATH( *at, "fatal check failed" );
}

/// Deletes the member with the next key from the map that it leaves.
class Leaver : public Kiv::PtrInterface {
 public:
  using Map = RbTreeMap<int, Kiv::Ptr<Leaver>>;

  Leaver( Map& map, int key ) : map_( map ), key_( key ) {}
  ~Leaver() override { map_.erase( key_ + 1 ); }
  int const& key() const { return key_; }

 private:
  Map& map_;
  int key_;
};

TEST( RbTreeMap, DestructorsOfValuesMayUseTheMap ) {
  Leaver::Map map;
  for ( int i = 0; i < 100; ++i ) map.set( i, Kiv::make<Leaver>( map, i ) );
  map.erase( map.find( 50 )->key() );  // the key goes with its member
  EXPECT_EQ( 50U, map.size() );
  map.set( 20, nullptr );
  EXPECT_EQ( 21U, map.size() );
}

}  // namespace
