#pragma once

/// A chip's copies of its label tables, in the forms that are fast to ask.

#include <cstdint>
#include <vector>

#include "Orvex/OrvexPDData.h"

namespace Orvex::Host {

/// The label of an address's longest prefix.
///
/// Prefixes nest, so the address space falls into pieces in each of which one prefix is the longest:
///
///     10.0.0.0/8  1        from ::           invalid
///     10.1.0.0/16 2        from 10.0.0.0     1
///                          from 10.1.0.0     2
///                          from 10.2.0.0     1
///                          from 11.0.0.0     invalid
///
/// The piece that holds an address is found by bisection, among those that begin with the same bits, up to 16: a table of
/// thousands of prefixes takes a handful of steps. Addresses of both families stand at the left of 128 bits.
/// Cost: 18 bytes for each piece, of which there are at most two for a prefix and one more; for the first bits at most 128
/// bytes a piece, and 256 KiB.
class AddressTable {
 public:
  /// Every address has the label.
  explicit AddressTable( std::uint16_t invalid );
  AddressTable( PDPrefixXformEntryColl const& prefixes, std::uint16_t invalid );

  /// Requires: the address is one of the table's family, in full length.
  std::uint16_t labelOf( Vell::IpGenPrefix const& address ) const;

 private:
  __extension__ using Address = unsigned __int128;
  static constexpr unsigned kMostFirstBits = 16;

  static Address firstOf( Vell::IpGenPrefix const& prefix );
  static Address lastOf( Vell::IpGenPrefix const& prefix );
  void addPiece( Address from, std::uint16_t label );
  void indexFirstBits();
  std::size_t firstBitsOf( Address address ) const {
    return static_cast<std::size_t>( static_cast<std::uint64_t>( address >> 64 ) >> ( 64 - firstBits_ ) );
  }

  std::vector<Address> from_;  // ascending, the first 0
  std::vector<std::uint16_t> label_;
  /// Some more than number the pieces.
  unsigned firstBits_ = 0;
  /// For each value of the first bits, the piece that holds the first address with them; one more at the end.
  std::vector<std::uint32_t> pieceOfFirstBits_;
};

/// The label of a field's value: one table entry for every value.
class ValueTable {
 public:
  /// Without ranges: every value is its own label, as in a chip that has no such table.
  ValueTable() = default;
  ValueTable( PDRangeXformEntryColl const& ranges, std::uint32_t maximum, std::uint16_t invalid );

  /// Requires: the value is not above the maximum.
  std::uint16_t labelOf( std::uint32_t value ) const {
    return labels_.empty() ? static_cast<std::uint16_t>( value ) : labels_[value];
  }

 private:
  std::vector<std::uint16_t> labels_;
};

/// The label of a pair of labels, by open addressing at a load of at most a half.
class PairTable {
 public:
  /// Every pair has the label.
  explicit PairTable( std::uint16_t invalid ) : invalid_( invalid ) {}
  PairTable( PDComboEntryColl const& pairs, std::uint16_t invalid );

  std::uint16_t labelOf( std::uint16_t source, std::uint16_t destination ) const;

 private:
  struct Slot {
    std::uint32_t pair = 0;
    std::uint16_t label = 0;
    bool used = false;
  };

  static std::uint32_t pairOf( std::uint16_t source, std::uint16_t destination ) {
    return std::uint32_t{ source } << 16 | destination;
  }
  /// Where the pair is, or would be.
  std::size_t slotOf( std::uint32_t pair ) const;

  std::vector<Slot> slots_;  // a power of two
  std::uint16_t invalid_;
};

}  // namespace Orvex::Host
