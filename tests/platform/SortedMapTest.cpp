#include "Kiv/SortedMap.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

namespace {

using Map = Kiv::SortedMap<std::uint32_t, std::string>;
using Model = std::map<std::uint32_t, std::string>;

Model modelOf( Map const& map ) {
  Model model;
  for ( auto const& [key, value] : map ) {
    EXPECT_TRUE( model.empty() || model.rbegin()->first < key ) << "not ascending";
    model.emplace( key, value );
  }
  return model;
}

TEST( SortedMap, HoldsWhatAMapHolds ) {
  for ( std::uint32_t seed = 1; seed <= 20; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    std::mt19937 random( seed );
    Map map;
    Model model;
    for ( int change = 0; change != 1000 && !HasFailure(); ++change ) {
      std::uint32_t const key = static_cast<std::uint32_t>( random() % ( 4 * seed ) );
      std::string const value( random() % 3, 'x' );
      auto const there = model.find( key );
      bool const absent = there == model.end();
      if ( random() % 100 == 0 ) {
        map.clear();
        model.clear();
      } else if ( random() % 3 == 0 ) {
        EXPECT_EQ( !absent, map.erase( key ) );
        model.erase( key );
      } else {
        EXPECT_EQ( absent || there->second != value, map.set( key, value ) );
        model[key] = value;
      }
      EXPECT_EQ( model, modelOf( map ) );
      EXPECT_EQ( model.size(), map.size() );
      EXPECT_EQ( model.empty(), map.empty() );
      std::uint32_t const asked = static_cast<std::uint32_t>( random() % ( 4 * seed ) );
      EXPECT_EQ( model.count( asked ) != 0, map.has( asked ) );
      auto const found = map.find( asked );
      ASSERT_EQ( model.count( asked ) != 0, found.has_value() );
      if ( found ) {
        EXPECT_EQ( model[asked], *found );
      }
    }
  }
}

}  // namespace
