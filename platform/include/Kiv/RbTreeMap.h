#pragma once

/// A map in ascending order of its keys (operator<), with the interface and the iterators of HashMap2018.
///
///     Kiv::RbTreeMap< AceIndex, Kiv::Ptr< Rule > > rules;
///     for ( auto const [ index, rule ] : rules ) ...            // 10, 20, 30
///
/// A shell around std::map: iterators remember their key, and search for the one after it when members have come or
/// gone meanwhile. An empty map allocates nothing.
///
/// Invariants: those of iterators in Collection.h. Cost: logarithmic; a step of an iterator is constant.

#include <cstdint>
#include <map>
#include <utility>

#include "Kiv/Collection.h"
#include "Kiv/FatalCheck.h"

namespace Kiv {

template <class KeyType, class MappedType>
class RbTreeMap {
 public:
  using Key = KeyType;
  using Value = MappedType;
  using Item = CollectionItem<Key, Value>;
  class Iterator;

  RbTreeMap() noexcept = default;
  RbTreeMap( RbTreeMap const& other ) : members_( other.members_ ) {}
  RbTreeMap( RbTreeMap&& other ) noexcept { *this = std::move( other ); }
  RbTreeMap& operator=( RbTreeMap const& other ) {
    RbTreeMap copied( other );
    *this = std::move( copied );
    return *this;
  }
  RbTreeMap& operator=( RbTreeMap&& other ) noexcept {
    ++changes_;
    ++other.changes_;
    Members const removed = std::exchange( members_, std::exchange( other.members_, Members() ) );
    return *this;
  }
  ~RbTreeMap() {
    while ( !members_.empty() ) clear();  // again when a member's destructor has inserted another
  }

  std::size_t size() const noexcept { return members_.size(); }
  bool empty() const noexcept { return members_.empty(); }
  bool has( Key const& key ) const { return members_.find( key ) != members_.end(); }

  Found<Value> find( Key const& key ) const {
    auto const found = members_.find( key );
    return found == members_.end() ? Found<Value>() : Found<Value>( found->second );
  }

  /// The member with the least key; nothing when the map is empty.
  std::optional<Item> first() const {
    if ( empty() ) return std::nullopt;
    return collectionItem( members_.begin()->first, members_.begin()->second );
  }
  /// The member with the greatest key; nothing when the map is empty.
  std::optional<Item> last() const {
    if ( empty() ) return std::nullopt;
    return collectionItem( members_.rbegin()->first, members_.rbegin()->second );
  }

  /// Stores the value; true when that changed anything: a new key, or a value that differed.
  bool set( Key const& key, Value value ) {
    std::size_t const oldSize = size();
    auto const at = emplace( key, value );
    if ( size() != oldSize ) return true;
    if ( at->second == value ) return false;
    std::swap( at->second, value );
    return true;
  }

  /// Adds a member, when there is none with that key; true when it was added.
  bool insert( Key const& key, Value value ) {
    std::size_t const oldSize = size();
    emplace( key, value );
    return size() != oldSize;
  }
  bool insert( Key const& key ) requires std::is_same_v<Value, None> { return insert( key, None() ); }

  /// Calls `change( Value& )` where the value lies; false when there is no such member. `change` must leave the map
  /// alone.
  template <class Change>
  bool update( Key const& key, Change&& change ) {
    auto const found = members_.find( key );
    if ( found == members_.end() ) return false;
    std::uint64_t const changes = changes_;
    change( found->second );
    KIV_CHECK( changes_ == changes );
    return true;
  }

  /// True when there was such a member.
  bool erase( Key const& key ) {
    auto const found = members_.find( key );
    if ( found == members_.end() ) return false;
    ++changes_;
    static_cast<void>( members_.extract( found ) );  // destroyed here, when the map is whole again
    return true;
  }

  void clear() noexcept {
    ++changes_;
    Members const removed = std::exchange( members_, Members() );
  }

  Iterator begin() const { return Iterator( *this ); }
  CollectionEnd end() const noexcept { return {}; }

  bool operator==( RbTreeMap const& other ) const { return members_ == other.members_; }

 private:
  using Members = std::map<Key, Value>;

  /// The member, which takes `value` over when it is new. Members mostly come in ascending order: then none is compared
  /// but the last.
  typename Members::iterator emplace( Key const& key, Value& value ) {
    std::size_t const oldSize = size();
    auto const at = members_.try_emplace( members_.end(), key, std::move( value ) );
    if ( size() != oldSize ) ++changes_;
    return at;
  }

  Members members_;
  std::uint64_t changes_ = 0;
};

/// Stands on a member, or at the end. See Collection.h for what it survives.
template <class KeyType, class MappedType>
class RbTreeMap<KeyType, MappedType>::Iterator {
 public:
  explicit Iterator( RbTreeMap const& map ) : map_( &map ) { settle( map.members_.begin() ); }

  Key key() const { return member()->first; }
  Value value() const { return member()->second; }
  Item operator*() const {
    auto const at = member();
    return collectionItem( at->first, at->second );
  }

  Iterator& operator++() {
    KIV_CHECK( key_.has_value() );
    settle( changes_ == map_->changes_ ? std::next( at_ ) : map_->members_.upper_bound( *key_ ) );
    return *this;
  }

  explicit operator bool() const noexcept { return key_.has_value(); }
  bool operator==( CollectionEnd ) const noexcept { return !key_.has_value(); }

 private:
  using Position = typename Members::const_iterator;

  void settle( Position at ) {
    at_ = at;
    changes_ = map_->changes_;
    if ( at == map_->members_.end() )
      key_.reset();
    else
      key_.emplace( at->first );
  }

  Position member() const {
    KIV_CHECK( key_.has_value() );
    if ( changes_ == map_->changes_ ) return at_;
    auto const at = map_->members_.find( *key_ );
    KIV_CHECK( at != map_->members_.end() );
    return at;
  }

  RbTreeMap const* map_;
  Position at_;
  std::optional<Key> key_;  // nothing at the end
  std::uint64_t changes_ = 0;
};

/// A set in ascending order; iterators yield the keys.
template <class Key>
using RbTreeSet = RbTreeMap<Key, None>;

}  // namespace Kiv
