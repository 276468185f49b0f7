#pragma once

/// What the keyed collections have in common.
///
/// Look-ups return values, never references into a collection, whose members move:
///
///     if ( auto const acl = acls.find( name ) ) acl->...           // Value = Ptr<Acl>: the Ptr itself, or null
///     if ( auto const label = labels.find( key ) ) use( *label );  // any other Value: std::optional
///
/// So values are words or Ptrs, or otherwise cheap to copy.
///
/// Iterators yield values too, and survive every change of their collection, including the deletion of the current
/// member, growth and clear():
///
///     for ( auto const [ key, value ] : map ) map.erase( key );
///     for ( auto at = map.begin(); at; ++at ) use( at.key() );
///
///  1. An iterator remembers its place in the order. `++` moves to the next member, at that time, after the place.
///  2. So members inserted ahead of the place are visited, those inserted behind it are not.
///  3. Reading a member that has been deleted is a fatal check; so is `++` at the end.
///  4. The collection itself must outlive its iterators: hold the entity that it belongs to while walking it.
///
/// Each collection counts the changes that move members. While the count stands still, `++` is a step in the
/// underlying structure; otherwise it is a search for the place.
///
/// Destructors of keys and values may use the collection that they are leaving: they run when it is whole again.

#include <iterator>
#include <optional>
#include <type_traits>

#include "Kiv/Ptr.h"

namespace Kiv {

/// The value of a set's members.
struct None {
  bool operator==( None const& ) const = default;
};

/// A key and its value, as a map stores and yields them.
template <class Key, class Value>
struct Member {
  Key key;
  [[no_unique_address]] Value value;
};

/// Where a range-for over a collection ends.
using CollectionEnd = std::default_sentinel_t;

namespace Detail {

template <class Value>
struct FoundType {
  using Type = std::optional<Value>;
};
template <class T>
struct FoundType<Ptr<T>> {
  using Type = Ptr<T>;
};

}  // namespace Detail

/// What find() returns: tests as true when there was such a member, and then dereferences to its value. A null Ptr that
/// is stored looks like an absent one; has() tells them apart.
template <class Value>
using Found = typename Detail::FoundType<Value>::Type;

/// What iterators yield: a set's key, a map's Member.
template <class Key, class Value>
using CollectionItem = std::conditional_t<std::is_same_v<Value, None>, Key, Member<Key, Value>>;

template <class Key, class Value>
CollectionItem<Key, Value> collectionItem( Key const& key, Value const& value ) {
  if constexpr ( std::is_same_v<Value, None> )
    return key;
  else
    return { key, value };
}

}  // namespace Kiv
