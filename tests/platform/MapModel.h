#pragma once

/// A map and its slow, obvious twin under the same random changes, with iterators under way in both.

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Kiv/Hash.h"
#include "Kiv/Ptr.h"
#include "Kiv/String.h"

namespace MapModel {

/// Where a member stands in the order: reversed hash and rank among equal hashes, or the key alone.
using Place = std::pair<std::uint32_t, std::uint32_t>;

/// A key whose order is that of its number.
struct OrderedKey {
  std::uint32_t id;

  explicit OrderedKey( std::uint32_t number ) : id( number ) {}
  auto operator<=>( OrderedKey const& ) const = default;
};

/// `Map` has String values and a key that is made from a number, `id`; one with a hash() when the order is by hash.
template <class Map>
class Twins {
 public:
  using Key = typename Map::Key;

  Twins( std::uint32_t seed, std::uint32_t keys ) : random_( seed ), keys_( keys ) {
    if constexpr ( kIteratorsSurvive )
      for ( int i = 0; i < 4; ++i ) cursors_.push_back( { map_.begin(), std::nullopt } );
  }

  void run( int changes ) {
    for ( int i = 0; i < changes && !testing::Test::HasFailure(); ++i ) {
      if ( i % 1000 == 0 ) growing_ = !growing_;
      change();
      checkLookUp();
      if constexpr ( kIteratorsSurvive )
        for ( Cursor& cursor : cursors_ )
          if ( below( 3 ) == 0 ) step( cursor );
      if ( i % 64 == 0 ) checkAll();
    }
  }

 private:
  /// Those of a plain array are pointers, and end with the next change.
  static constexpr bool kIteratorsSurvive = requires( typename Map::Iterator at ) { at.key(); };

  struct Cursor {
    typename Map::Iterator at;
    std::optional<Place> place;  // nothing at the end
  };
  struct Entry {
    std::uint32_t id;
    Kiv::String value;
  };
  using Model = std::map<Place, Entry>;

  std::uint32_t below( std::uint32_t bound ) { return static_cast<std::uint32_t>( random_() % bound ); }
  Kiv::String anyValue() { return std::to_string( below( 3 ) ); }

  typename Model::iterator inModel( std::uint32_t id ) {
    for ( auto [at, last] = group( id ); at != last; ++at )
      if ( at->second.id == id ) return at;
    return model_.end();
  }

  static std::uint32_t orderOf( std::uint32_t id ) {
    if constexpr ( requires( Key key ) { key.hash(); } )
      return Kiv::bitReverse( Kiv::hashOf( Key( id ) ) );
    else
      return id;
  }
  std::pair<typename Model::iterator, typename Model::iterator> group( std::uint32_t id ) {
    return { model_.lower_bound( Place( orderOf( id ), 0 ) ), model_.upper_bound( Place( orderOf( id ), ~0U ) ) };
  }
  void addToModel( std::uint32_t id, Kiv::String const& value ) {
    auto const [first, last] = group( id );
    std::uint32_t const rank = first == last ? 1 : std::prev( last )->first.second + 1;
    model_.emplace( Place( orderOf( id ), rank ), Entry{ id, value } );
  }

  void change() {
    std::uint32_t const id = below( keys_ );
    auto const there = inModel( id );
    bool const absent = there == model_.end();
    Kiv::String const value = anyValue();
    std::uint32_t const choice = below( 1000 );
    if ( choice < 2 ) {
      map_.clear();
      model_.clear();
    } else if ( choice < 6 ) {
      map_ = Map( map_ );
    } else if ( choice < 10 ) {
      if constexpr ( requires { map_.reserve( 1 ); } ) map_.reserve( below( 2 * keys_ ) );
    } else if ( choice < ( growing_ ? 300U : 700U ) ) {
      EXPECT_EQ( !absent, map_.erase( Key( id ) ) );
      if ( !absent ) model_.erase( there );
    } else if ( choice % 2 == 0 ) {
      if constexpr ( requires { map_.insert( Key( id ), value ); } ) {
        EXPECT_EQ( absent, map_.insert( Key( id ), value ) );
        if ( absent ) addToModel( id, value );
      }
    } else {
      EXPECT_EQ( absent || there->second.value != value, map_.set( Key( id ), value ) );
      absent ? addToModel( id, value ) : void( there->second.value = value );
    }
  }

  void checkLookUp() {
    std::uint32_t const id = below( keys_ );
    auto const want = inModel( id );
    auto const have = map_.find( Key( id ) );
    ASSERT_EQ( want != model_.end(), have.has_value() );
    if ( have ) {
      EXPECT_EQ( want->second.value, *have );
    }
    EXPECT_EQ( have.has_value(), map_.has( Key( id ) ) );
    EXPECT_EQ( model_.size(), map_.size() );
    EXPECT_EQ( model_.empty(), map_.empty() );
  }

  void step( Cursor& cursor ) {
    if ( cursor.place )
      ++cursor.at;
    else
      cursor.at = map_.begin();
    auto const want = cursor.place ? model_.upper_bound( *cursor.place ) : model_.begin();
    ASSERT_EQ( want != model_.end(), static_cast<bool>( cursor.at ) );
    cursor.place.reset();
    if ( want == model_.end() ) return;
    cursor.place = want->first;
    EXPECT_EQ( want->second.id, cursor.at.key().id );
    EXPECT_EQ( want->second.value, cursor.at.value() );
  }

  void checkAll() {
    auto want = model_.begin();
    for ( auto const& [key, value] : map_ ) {
      ASSERT_NE( want, model_.end() );
      ASSERT_EQ( want->second.id, key.id );
      ASSERT_EQ( want->second.value, value );
      ++want;
    }
    EXPECT_EQ( want, model_.end() );
    if constexpr ( kIteratorsSurvive )
      for ( Cursor const& cursor : cursors_ )  // what an iterator stands on can be read as long as it is there
        if ( cursor.place && model_.count( *cursor.place ) != 0 ) {
          EXPECT_EQ( model_.at( *cursor.place ).id, cursor.at.key().id );
        }
  }

  std::mt19937 random_;
  std::uint32_t keys_;
  bool growing_ = false;
  Map map_;
  Model model_;
  std::vector<Cursor> cursors_;
};

/// Worlds from a handful of keys, where every pair of changes meets, to ones that grow and shrink the map.
template <class Map>
void run() {
  for ( std::uint32_t const keys : { 4U, 40U, 1500U } )
    for ( std::uint32_t seed = 1; seed <= 5; ++seed ) {
      SCOPED_TRACE( testing::Message() << "keys " << keys << ", seed " << seed );
      Twins<Map>( seed, keys ).run( 6000 );
    }
}

/// Uses the map that it leaves: looks itself up, and deletes the member with the next key.
template <template <class, class> class MapType>
class Leaver : public Kiv::PtrInterface {
 public:
  using Map = MapType<std::uint32_t, Kiv::Ptr<Leaver>>;

  Leaver( Map& map, std::uint32_t key, std::uint32_t& left ) : map_( map ), key_( key ), left_( left ) {}
  ~Leaver() override {
    EXPECT_NE( this, map_.find( key_ ).get() );
    map_.erase( key_ + 1 );
    ++left_;
  }
  std::uint32_t const& key() const { return key_; }

 private:
  Map& map_;
  std::uint32_t key_;
  std::uint32_t& left_;
};

template <template <class, class> class MapType>
void expectDestructorsMayUse() {
  std::uint32_t left = 0;
  {
    typename Leaver<MapType>::Map map;
    auto const fill = [&] {
      for ( std::uint32_t i = 0; i < 100; ++i ) map.set( i, Kiv::make<Leaver<MapType>>( map, i, left ) );
    };
    auto const own = [&]( auto key ) -> auto const& { return map.find( key )->key(); };  // goes with its member
    fill();
    map.erase( own( 50U ) );
    EXPECT_EQ( 50U, map.size() );
    map.set( own( 20U ), nullptr );
    EXPECT_EQ( 21U, map.size() );
    map.clear();
    EXPECT_EQ( 100U, left );
    fill();
    EXPECT_EQ( 100U, left );
  }
  EXPECT_EQ( 200U, left );
}

}  // namespace MapModel
