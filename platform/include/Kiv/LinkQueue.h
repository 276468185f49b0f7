#pragma once

/// A first-in first-out queue whose members carry an index, by which they can be found and deleted.
///
///     Kiv::LinkQueue< Kiv::String > queue;
///     queue.enq( "a" );                                          // 0
///     auto const index = queue.enq( "b" );                       // 1
///     queue.erase( index );
///     for ( auto const [ index, value ] : queue ) ...            // 0 "a"
///     queue.deq();                                               // "a"
///
/// Indices ascend from head to tail and count on from member to member, so none is used twice while the queue holds
/// members. They have 32 bits and start again at 0 when they have run out and the queue is empty.
///
/// Members lie in one array in order of their indices. A deleted member leaves an empty entry behind, and the array is
/// closed up when most entries are empty: an index is found by bisection, and a step of an iterator is a step in the
/// array unless it was closed up meanwhile.
///
/// Invariants: (1) those of iterators in Collection.h, with the index as the place; (2) the entry at head_ and the last
/// one hold members, and none before head_ does; an empty queue has no entries; (3) a queue that never held a member
/// has allocated nothing.
/// Cost: enq, deq and erase take constant time (amortised), erase a logarithmic search besides.

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "Kiv/Collection.h"
#include "Kiv/Exception.h"
#include "Kiv/FatalCheck.h"

namespace Kiv {

inline constexpr std::string_view kLinkQueueIndexSpaceFull = "linkqueue index space full";

template <class MemberType>
class LinkQueue {
 public:
  using Value = MemberType;
  using Index = std::uint32_t;
  class Iterator;

  /// A member as iterators yield it.
  struct Item {
    Index index;
    Value value;
  };

  LinkQueue() noexcept = default;
  LinkQueue( LinkQueue const& other ) : table_( other.table_ ) {}
  LinkQueue( LinkQueue&& other ) noexcept { *this = std::move( other ); }
  LinkQueue& operator=( LinkQueue const& other ) {
    LinkQueue copied( other );
    *this = std::move( copied );
    return *this;
  }
  LinkQueue& operator=( LinkQueue&& other ) noexcept {
    Table const old = std::exchange( table_, std::exchange( other.table_, Table() ) );
    ++moves_;
    ++other.moves_;
    return *this;
  }
  ~LinkQueue() {
    while ( !empty() ) clear();  // again when a member's destructor has added another
  }

  std::size_t size() const noexcept { return table_.size; }
  bool empty() const noexcept { return table_.size == 0; }

  /// The least index that a new member may get; 2^32 when none is left.
  std::uint64_t nextIndex() const noexcept { return table_.nextIndex; }
  /// Members after this get an index of at least `index`, and greater than any there is.
  void nextIndexIs( Index index ) noexcept { table_.nextIndex = index; }

  /// Adds a member at the tail and returns its index.
  /// Fails with: Exception( kLinkQueueIndexSpaceFull ), which changes nothing.
  Index enq( Value value ) {
    std::uint64_t next = table_.nextIndex;
    if ( !empty() ) next = std::max( next, std::uint64_t{ table_.entries.back().index } + 1 );
    if ( next > std::numeric_limits<Index>::max() ) {
      if ( !empty() ) throw Exception( kLinkQueueIndexSpaceFull );
      next = 0;
    }
    auto const index = static_cast<Index>( next );
    table_.entries.push_back( { index, std::move( value ) } );
    table_.nextIndex = next + 1;
    ++table_.size;
    return index;
  }

  /// Removes and returns the head.
  /// Requires: the queue is not empty.
  Value deq() {
    KIV_CHECK( !empty() );
    return removeAt( table_.head );
  }

  /// Requires: the queue is not empty.
  Value head() const {
    KIV_CHECK( !empty() );
    return *table_.entries[table_.head].value;
  }

  /// True when there was such a member.
  bool erase( Index index ) {
    std::size_t const position = positionFrom( index );
    if ( !holds( position, index ) ) return false;
    static_cast<void>( removeAt( position ) );  // destroyed here, when the queue is whole again
    return true;
  }

  /// Makes room for that many members that come next, so that the array does not grow while they do.
  void reserve( std::size_t members ) { table_.entries.reserve( table_.entries.size() + members ); }

  /// Gives all memory back; indices count on.
  void clear() noexcept {
    Table const removed = std::exchange( table_, Table() );
    table_.nextIndex = removed.nextIndex;
    ++moves_;
  }

  Iterator begin() const noexcept { return Iterator( *this ); }
  CollectionEnd end() const noexcept { return {}; }

 private:
  static constexpr std::size_t kKeptEntries = 16;

  struct Entry {
    Index index;
    std::optional<Value> value;
  };

  struct Table {
    std::vector<Entry> entries;
    std::size_t head = 0;
    std::size_t size = 0;
    std::uint64_t nextIndex = 0;
  };

  /// The first entry with an index of at least `index`, or the end.
  std::size_t positionFrom( std::uint64_t index ) const noexcept {
    auto const found =
        std::lower_bound( table_.entries.begin(), table_.entries.end(), index,
                          []( Entry const& entry, std::uint64_t sought ) { return entry.index < sought; } );
    return static_cast<std::size_t>( found - table_.entries.begin() );
  }

  bool holds( std::size_t position, Index index ) const noexcept {
    return position < table_.entries.size() && table_.entries[position].index == index &&
           table_.entries[position].value.has_value();
  }

  Value removeAt( std::size_t position ) {
    std::vector<Entry>& entries = table_.entries;
    Value removed = std::move( *entries[position].value );
    entries[position].value.reset();
    --table_.size;
    if ( empty() ) {
      closeUp();
    } else {
      while ( !entries[table_.head].value ) ++table_.head;
      for ( ; !entries.back().value; ++moves_ ) entries.pop_back();  // the next member will lie there
      if ( entries.size() / 2 > table_.size ) closeUp();
    }
    return removed;
  }

  /// Drops the empty entries, and the memory of times when the queue was much longer.
  void closeUp() {
    std::vector<Entry>& entries = table_.entries;
    std::erase_if( entries, []( Entry const& entry ) { return !entry.value; } );
    if ( entries.capacity() / 4 > entries.size() + kKeptEntries ) entries.shrink_to_fit();
    table_.head = 0;
    ++moves_;
  }

  Table table_;
  std::uint64_t moves_ = 0;  // of members, and of the array's end back over deleted ones
};

/// Stands on a member, or at the end. See Collection.h for what it survives.
template <class MemberType>
class LinkQueue<MemberType>::Iterator {
 public:
  explicit Iterator( LinkQueue const& queue ) noexcept : queue_( &queue ) { settle( queue.table_.head ); }

  Index index() const { return entry().index; }
  Value value() const { return *entry().value; }
  Item operator*() const {
    Entry const& at = entry();
    return { at.index, *at.value };
  }

  Iterator& operator++() {
    KIV_CHECK( !atEnd_ );
    settle( moves_ == queue_->moves_ ? position_ + 1 : queue_->positionFrom( std::uint64_t{ index_ } + 1 ) );
    return *this;
  }

  explicit operator bool() const noexcept { return !atEnd_; }
  bool operator==( CollectionEnd ) const noexcept { return atEnd_; }

 private:
  /// Moves to the first member from `position` on.
  void settle( std::size_t position ) noexcept {
    std::vector<Entry> const& entries = queue_->table_.entries;
    while ( position < entries.size() && !entries[position].value ) ++position;
    position_ = position;
    moves_ = queue_->moves_;
    atEnd_ = position == entries.size();
    if ( !atEnd_ ) index_ = entries[position].index;
  }

  Entry const& entry() const {
    KIV_CHECK( !atEnd_ );
    std::size_t const position = moves_ == queue_->moves_ ? position_ : queue_->positionFrom( index_ );
    KIV_CHECK( queue_->holds( position, index_ ) );
    return queue_->table_.entries[position];
  }

  LinkQueue const* queue_;
  std::size_t position_ = 0;
  std::uint64_t moves_ = 0;
  Index index_ = 0;
  bool atEnd_ = false;
};

}  // namespace Kiv
