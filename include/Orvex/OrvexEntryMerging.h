#pragma once

/// Merges ternary entries that differ in one bit, from the lowest bit up; what LabelMerger does, on plain values.
///
/// At each bit the entries are split into those that have there 0, 1 or any value. An entry that is left both with 0 and with 1
/// has any value. The three groups go on with the next bit, each for itself:
///
///     0000  0001  0010  0011  0101        bit 0:  any { 000* 001* }   1 { 0101 }
///                                         bit 1:  any { 00** }
///                                         so:     00**  0101
///
/// Bits in which all entries of a group agree divide nothing and are passed over, so a small set costs little at any width.
///
/// Invariants: (1) the result matches exactly the labels that the input matches, where value bits under a 0 of the mask are 0;
/// (2) it does not depend on the order of the input. It is not always the least number of entries: two merge only where they
/// agree in all bits above.
/// Cost: linear in the entries at each bit in which they differ; 65,536 labels that merge to one entry take 1 ms.

#include <compare>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Orvex {

class EntryMerging {
 public:
  struct Entry {
    std::uint16_t value;
    std::uint16_t mask;
    friend auto operator<=>( Entry const&, Entry const& ) = default;
  };

  /// Widths are in bits, 0 to 16.
  explicit EntryMerging( std::uint32_t bitWidth ) : full_( ( std::uint32_t{ 1 } << bitWidth ) - 1 ) {}

  void entryIs( std::uint32_t value, std::uint32_t mask ) {
    mask &= full_;
    groups_.push_back( { static_cast<std::uint16_t>( value & mask ), static_cast<std::uint16_t>( mask ) } );
  }
  /// Both ends included. Requires: start <= end.
  void rangeIs( std::uint32_t start, std::uint32_t end );

  /// Ascending, until the next entry is added. What has been added is forgotten.
  std::vector<Entry> const& merged();

 private:
  void mergeFrom( std::size_t first );
  std::uint32_t differingBits( std::size_t first ) const;
  bool addWithAny( std::size_t first, std::size_t end, std::uint16_t bit );
  void addWithOne( std::size_t first, std::size_t end, std::uint16_t bit, std::uint16_t value );

  std::uint32_t full_;
  /// A group's entries agree in the bits below the one that is looked at, and ascend. Where a bit divides a group, the new
  /// groups are put behind it, one after the other, and dropped when they have been merged.
  std::vector<Entry> groups_;
  std::vector<Entry> merged_;
};

/// Calls `handleBlock( start, sizeBits )` for the aligned blocks that a range falls into, ascending. Both ends are included.
template <class HandleBlock>
void forBlocksOfRange( std::uint32_t start, std::uint32_t end, HandleBlock const& handleBlock ) {
  while ( start <= end ) {
    // The largest block that begins at `start`, is aligned and ends by `end`.
    std::uint32_t sizeBits = 0;
    while ( ( start >> sizeBits & 1U ) == 0 && start + ( std::uint32_t{ 2 } << sizeBits ) - 1 <= end ) ++sizeBits;
    handleBlock( start, sizeBits );
    start += std::uint32_t{ 1 } << sizeBits;
  }
}

}  // namespace Orvex
