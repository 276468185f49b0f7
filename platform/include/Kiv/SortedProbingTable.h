#pragma once

/// The array under HashMap2018: linear probing that keeps its members in order of their places.
///
/// In plain linear probing a member lies in its home slot or, when that is taken, in the next free one, so members lie
/// in the order in which they came. Here a member's home is given by the top bits of its place, and a newcomer pushes
/// members with greater places one slot on. The array is then in ascending order of places whatever its size, a search
/// ends at the first greater place, and growth is one pass that copies from left to right (after Amble and Knuth,
/// "Ordered hash tables", 1974).
///
///     4 buckets, homes in brackets     [0]  [1]  [2]  [3]  tail
///     0x1.. and 0x5.. are in            1    5    -    -    -
///     0x3.. comes, home 0               1    3    5    -    -
///     0xF.. and 0xE.. come, home 3      1    3    5    E    F
///
/// A place is a bit-reversed hash (upper half) and a rank of at least 1 among members of that hash (lower half), so 0
/// is free to mark an empty slot. Nothing wraps round: a tail follows the buckets and is extended when it is full.
///
/// Invariants:
///  1. Places of occupied slots ascend.
///  2. A member lies at its home or behind it, and no slot between the two is empty.
///  3. The last slot is empty: every walk to the right ends.
///  4. firstIndex() is the first occupied slot, or the end.
///  5. From the home of a place on, "occupied, and by a lesser place" holds for some slots and for none behind them:
///     by (2) a member with a lesser place has no empty slot between its own, lesser or equal, home and itself.
///
/// Cost: constant for well mixed hashes. Members that come in ascending order, as when one map is filled from another,
/// pile up in the first homes of a table that is still small; a search that walked through the pile would make this
/// quadratic, so after a few steps it gallops, by (5): doubling strides, then bisection (Bentley and Yao, "An almost
/// optimal algorithm for unbounded searching", 1976). Insertion and removal still move what lies between them and the
/// next empty slot; when that is much although the table is not sparse, members have come in order among others, and
/// the table grows early.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "Kiv/FatalCheck.h"

namespace Kiv::Detail {

using Place = std::uint64_t;

constexpr Place firstPlaceOf( std::uint32_t reversedHash ) noexcept { return Place{ reversedHash } << 32 | 1; }
constexpr std::uint32_t reversedHashOf( Place place ) noexcept { return static_cast<std::uint32_t>( place >> 32 ); }
constexpr std::uint32_t rankOf( Place place ) noexcept { return static_cast<std::uint32_t>( place ); }

/// Ranks stay below this, so that the place after a place is never 0.
inline constexpr std::uint32_t kRankLimit = 0xFFFFFFFF;

template <class Member>
class SortedProbingTable {
 public:
  SortedProbingTable() noexcept = default;
  SortedProbingTable( SortedProbingTable const& other ) : SortedProbingTable() {
    if ( other.size_ == 0 ) return;
    allocate( other.bits_, other.tail() );
    for ( std::size_t index = other.firstIndex(); index != other.end(); index = other.occupiedFrom( index + 1 ) ) {
      fill( slots_[index], other.place( index ), Member( other.member( index ) ) );
      ++size_;
    }
    first_ = other.first_;
  }
  SortedProbingTable( SortedProbingTable&& other ) noexcept { swap( other ); }
  SortedProbingTable& operator=( SortedProbingTable other ) noexcept {
    swap( other );
    return *this;
  }
  ~SortedProbingTable() {
    if constexpr ( !std::is_trivially_destructible_v<Member> )
      for ( std::size_t index = 0; index != end(); ++index )
        if ( slots_[index].place != 0 ) std::destroy_at( &slots_[index].member );
    if ( slots_ ) std::allocator<Slot>().deallocate( slots_, slotCount_ );
  }

  void swap( SortedProbingTable& other ) noexcept {
    std::swap( slots_, other.slots_ );
    std::swap( slotCount_, other.slotCount_ );
    std::swap( size_, other.size_ );
    std::swap( first_, other.first_ );
    std::swap( bits_, other.bits_ );
  }

  std::size_t size() const noexcept { return size_; }
  bool allocated() const noexcept { return slots_ != nullptr; }

  std::size_t firstIndex() const noexcept { return first_; }
  std::size_t end() const noexcept { return slotCount_; }
  /// The first occupied slot from `index` on, or the end.
  std::size_t occupiedFrom( std::size_t index ) const noexcept {
    while ( index < slotCount_ && slots_[index].place == 0 ) ++index;
    return index;
  }

  Place place( std::size_t index ) const noexcept { return slots_[index].place; }
  Member& member( std::size_t index ) noexcept { return slots_[index].member; }
  Member const& member( std::size_t index ) const noexcept { return slots_[index].member; }
  bool hasHash( std::size_t index, std::uint32_t reversedHash ) const noexcept {
    return slots_[index].place != 0 && reversedHashOf( slots_[index].place ) == reversedHash;
  }

  /// The slot from the home of `place` on that is empty or has no lesser place: where the place is, or would be put.
  /// The first slots are counted, by (5), rather than walked, so that the processor has no branch to guess: a look-up
  /// at 100,000 entries takes 12 ns instead of 15.
  /// Requires: allocated().
  std::size_t seek( Place place ) const noexcept {
    std::size_t const from = home( place );
    std::size_t index = from;
    for ( std::size_t step = 0; step != kCounted; ++step ) index += isBefore( from + step, place ) ? 1 : 0;
    return index == from + kCounted ? gallop( index, place ) : index;
  }

  /// Puts a member in at seek( place ), which the caller has at hand.
  void insert( std::size_t index, Place place, Member&& member ) {
    if ( size_ == maxSize( bits_ ) ) {
      rebuild( std::max( bits_ + 1, kMinBits ) );
      index = seek( place );
    }
    std::size_t gap = gapFrom( index );
    while ( gap - index > kLongMove && size_ > maxSize( bits_ ) / kSparse ) {
      rebuild( bits_ + 1 );
      index = seek( place );
      gap = gapFrom( index );
    }
    if ( gap + 1 == slotCount_ ) rebuild( bits_, 2 * tail() );  // no member changes its slot
    for ( ; gap != index; --gap ) relocate( slots_[gap - 1], slots_[gap] );
    fill( slots_[index], place, std::move( member ) );
    ++size_;
    first_ = std::min( first_, static_cast<std::uint32_t>( index ) );
  }

  /// Takes a member out and moves those behind it back towards their homes. Memory shrinks with the table.
  Member remove( std::size_t index ) {
    Member removed( std::move( slots_[index].member ) );
    std::destroy_at( &slots_[index].member );
    slots_[index].place = 0;
    for ( ; slots_[index + 1].place != 0 && home( slots_[index + 1].place ) <= index; ++index )
      relocate( slots_[index + 1], slots_[index] );
    --size_;
    if ( size_ == 0 ) first_ = slotCount_;
    first_ = static_cast<std::uint32_t>( occupiedFrom( first_ ) );
    if ( bits_ > kMinBits && size_ < maxSize( bits_ ) / kShrinkRatio ) rebuild( bits_ - 1 );
    return removed;
  }

  /// Makes room for `size` members.
  void reserve( std::size_t size ) {
    std::uint32_t bits = std::max( bits_, kMinBits );
    while ( maxSize( bits ) < size ) ++bits;
    if ( bits != bits_ ) rebuild( bits );
  }

 private:
  static constexpr std::uint32_t kMinBits = 2;
  static constexpr std::uint32_t kMaxBits = 30;
  static constexpr std::size_t kMaxFirstTail = 16;
  static constexpr std::size_t kCounted = 4;
  static constexpr std::size_t kShrinkRatio = 8;
  static constexpr std::size_t kLongMove = 128;
  static constexpr std::size_t kSparse = 3;

  static_assert( kCounted <= std::size_t{ 1 } << kMinBits, "the tail has the slots that seek() counts" );

  struct Slot {
    Place place = 0;
    union {
      Member member;
    };

    Slot() noexcept {}
    ~Slot() {}
  };

  static constexpr std::size_t maxSize( std::uint32_t bits ) noexcept {
    return bits == 0 ? 0 : ( std::size_t{ 3 } << bits ) / 4;
  }

  std::size_t buckets() const noexcept { return std::size_t{ 1 } << bits_; }
  std::size_t tail() const noexcept { return slotCount_ - buckets(); }
  std::size_t home( Place place ) const noexcept { return static_cast<std::size_t>( place >> ( 64 - bits_ ) ); }

  /// The first empty slot from `index` on.
  std::size_t gapFrom( std::size_t index ) const noexcept {
    while ( slots_[index].place != 0 ) ++index;
    return index;
  }

  /// Occupied, and by a lesser place. An empty slot's 0 becomes the greatest number.
  bool isBefore( std::size_t index, Place place ) const noexcept { return slots_[index].place - 1 < place - 1; }

  /// seek() from a slot whose left neighbour is known to be before `place`.
  std::size_t gallop( std::size_t low, Place place ) const noexcept {
    std::size_t high = low;
    for ( std::size_t stride = kCounted; isBefore( high, place ); stride *= 2 ) {
      low = high + 1;
      high = std::min( high + stride, std::size_t{ slotCount_ } - 1 );
    }
    while ( low != high ) {
      std::size_t const middle = low + ( high - low ) / 2;
      if ( isBefore( middle, place ) )
        low = middle + 1;
      else
        high = middle;
    }
    return low;
  }

  static void fill( Slot& slot, Place place, Member&& member ) noexcept {
    static_assert( std::is_nothrow_move_constructible_v<Member>, "members move when the table changes" );
    std::construct_at( &slot.member, std::move( member ) );
    slot.place = place;
  }
  static void relocate( Slot& from, Slot& to ) noexcept {
    fill( to, from.place, std::move( from.member ) );
    std::destroy_at( &from.member );
    from.place = 0;
  }

  void allocate( std::uint32_t bits, std::size_t tail ) {
    KIV_CHECK( bits <= kMaxBits );
    std::size_t const slotCount = ( std::size_t{ 1 } << bits ) + tail;
    slots_ = std::allocator<Slot>().allocate( slotCount );
    std::uninitialized_default_construct_n( slots_, slotCount );
    first_ = slotCount_ = static_cast<std::uint32_t>( slotCount );
    bits_ = bits;
  }

  /// A tail long enough for the present members: no longer than now when the table grows, as members that share a
  /// bucket then spread out; otherwise any number of them may end up in the last bucket.
  void rebuild( std::uint32_t bits ) {
    std::size_t const firstTail = std::min( std::size_t{ 1 } << bits, kMaxFirstTail );
    std::size_t const needed = !slots_ ? 0 : bits > bits_ ? tail() : size_ + 1;
    rebuild( bits, std::max( firstTail, needed ) );
  }

  void rebuild( std::uint32_t bits, std::size_t tail ) {
    SortedProbingTable rebuilt;
    rebuilt.allocate( bits, tail );
    std::size_t next = 0;
    for ( std::size_t index = firstIndex(); index != end(); index = occupiedFrom( index + 1 ) ) {
      next = std::max( next, rebuilt.home( place( index ) ) );
      rebuilt.first_ = std::min( rebuilt.first_, static_cast<std::uint32_t>( next ) );
      relocate( slots_[index], rebuilt.slots_[next++] );
    }
    rebuilt.size_ = std::exchange( size_, 0 );
    swap( rebuilt );
  }

  Slot* slots_ = nullptr;
  std::uint32_t slotCount_ = 0;
  std::uint32_t size_ = 0;
  std::uint32_t first_ = 0;
  std::uint32_t bits_ = 0;
};

}  // namespace Kiv::Detail
