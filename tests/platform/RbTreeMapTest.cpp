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

TEST( RbTreeMap, DestructorsOfValuesMayUseTheMap ) { MapModel::expectDestructorsMayUse<RbTreeMap>(); }

}  // namespace
