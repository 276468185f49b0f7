#pragma once

/// A map in one array, in ascending order of its keys. For tables that are filled in that order, once, and then read:
///
///     Kiv::SortedMap<RangeSetElem, PlainLabel> labels;
///     labels.set( { 10, 14 }, PlainLabel( 1 ) );
///     for ( auto const& [ range, label ] : labels ) ...
///
/// Setting a key behind all others is constant; elsewhere it moves the members behind it. Finding one is a bisection. As a
/// set of values does, an empty map has allocated nothing, and unlike those of the keyed collections iterators do not
/// survive changes.

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "Kiv/Collection.h"

namespace Kiv {

template <class KeyType, class MappedType>
class SortedMap {
 public:
  using Key = KeyType;
  using Value = MappedType;
  using Iterator = typename std::vector<Member<Key, Value>>::const_iterator;

  std::size_t size() const noexcept { return members_.size(); }
  bool empty() const noexcept { return members_.empty(); }
  Iterator begin() const noexcept { return members_.begin(); }
  Iterator end() const noexcept { return members_.end(); }
  bool has( Key const& key ) const { return holds( lowerBound( key ), key ); }

  Found<Value> find( Key const& key ) const {
    std::size_t const at = lowerBound( key );
    return holds( at, key ) ? Found<Value>( members_[at].value ) : Found<Value>();
  }

  /// Stores the value; true when that changed anything: a new key, or a value that differed.
  bool set( Key const& key, Value value ) {
    std::size_t const at = lowerBound( key );
    if ( !holds( at, key ) ) {
      members_.insert( members_.begin() + static_cast<Step>( at ), { key, std::move( value ) } );
      return true;
    }
    if ( members_[at].value == value ) return false;
    members_[at].value = std::move( value );
    return true;
  }

  /// True when there was such a member.
  bool erase( Key const& key ) {
    std::size_t const at = lowerBound( key );
    if ( !holds( at, key ) ) return false;
    members_.erase( members_.begin() + static_cast<Step>( at ) );
    return true;
  }

  void clear() noexcept { std::vector<Member<Key, Value>>().swap( members_ ); }
  void reserve( std::size_t size ) { members_.reserve( size ); }

 private:
  using Step = typename std::vector<Member<Key, Value>>::difference_type;

  std::size_t lowerBound( Key const& key ) const {
    if ( members_.empty() || members_.back().key < key ) return members_.size();
    auto const at = std::lower_bound( members_.begin(), members_.end(), key,
                                      []( Member<Key, Value> const& member, Key const& k ) { return member.key < k; } );
    return static_cast<std::size_t>( at - members_.begin() );
  }

  bool holds( std::size_t at, Key const& key ) const { return at != members_.size() && members_[at].key == key; }

  std::vector<Member<Key, Value>> members_;
};

}  // namespace Kiv
