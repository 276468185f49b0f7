#pragma once

/// Finds equal members of an array by their hashes. The members stay where they are; the index has a word of 8 bytes a slot:
/// half the hash, and the member's place.
///
///     HashIndex index( sets.size() );
///     std::uint32_t const first = index.findOrAdd( sets[at]->hash(), at, [&]( std::uint32_t other ) {
///       return sets[other]->isEqual( sets[at] );
///     } );
///
/// Open addressing with linear probing, at most half full: at 60,000 members the index has 1 MB, and stays in the processor's
/// second cache where a map of the same members would not. A member is looked at only when 32 bits of its mixed hash agree.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "Kiv/Hash.h"

namespace Orvex {

class HashIndex {
 public:
  /// Room for as many members; more make the index grow.
  explicit HashIndex( std::size_t members = 0 ) { reserve( members ); }

  void reserve( std::size_t members ) {
    std::size_t const slots = std::bit_ceil( 2 * members + 2 );
    if ( slots > slots_.size() ) resize( slots );
  }

  /// Where a search for this hash begins, to have the processor fetch it ahead: in a large index that takes as long as all the
  /// rest. (A function that did it itself, g++ would take for one without effect.)
  void const* searchBegin( std::uint64_t hash ) const { return &slots_[home( tagOf( hash ) )]; }

  /// The place of the member that is equal, as `isEqual( place )` says; when there is none, adds `place` and returns it.
  template <class IsEqual>
  std::uint32_t findOrAdd( std::uint64_t hash, std::uint32_t place, IsEqual const& isEqual ) {
    if ( 2 * ( used_ + 1 ) > slots_.size() ) resize( 2 * slots_.size() );
    std::uint32_t const tag = tagOf( hash );
    std::size_t at = home( tag );
    for ( ; slots_[at].place != kFree; at = next( at ) )
      if ( slots_[at].tag == tag && isEqual( slots_[at].place ) ) return slots_[at].place;
    slots_[at] = { tag, place };
    ++used_;
    return place;
  }

 private:
  static constexpr std::uint32_t kFree = ~std::uint32_t{ 0 };
  struct Slot {
    std::uint32_t tag = 0;
    std::uint32_t place = kFree;
  };

  static std::uint32_t tagOf( std::uint64_t hash ) { return Kiv::IncrementalHash().add( hash ).result(); }
  std::size_t home( std::uint32_t tag ) const { return tag & ( slots_.size() - 1 ); }
  std::size_t next( std::size_t at ) const { return ( at + 1 ) & ( slots_.size() - 1 ); }

  void resize( std::size_t slots ) {
    std::vector<Slot> const before = std::exchange( slots_, std::vector<Slot>( slots ) );
    for ( Slot const& slot : before ) {
      if ( slot.place == kFree ) continue;
      std::size_t at = home( slot.tag );
      while ( slots_[at].place != kFree ) at = next( at );
      slots_[at] = slot;
    }
  }

  std::vector<Slot> slots_;  // a power of two of them
  std::size_t used_ = 0;
};

}  // namespace Orvex
