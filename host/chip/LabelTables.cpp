#include "chip/LabelTables.h"

#include <algorithm>
#include <bit>

namespace Orvex::Host {

// Addresses

AddressTable::AddressTable( std::uint16_t invalid ) {
  addPiece( 0, invalid );
  indexFirstBits();
}

AddressTable::AddressTable( PDPrefixXformEntryColl const& prefixes, std::uint16_t invalid ) {
  struct Enclosing {
    Address last;
    std::uint16_t label;
  };
  constexpr Address kLast = ~Address{ 0 };
  std::vector<Enclosing> enclosing = { { kLast, invalid } };
  addPiece( 0, invalid );
  // In their order, a prefix is followed by those that it contains.
  auto const leaveThose = [&]( auto const& areLeft ) {
    while ( enclosing.size() > 1 && areLeft( enclosing.back() ) ) {
      Address const last = enclosing.back().last;
      enclosing.pop_back();
      if ( last != kLast ) addPiece( last + 1, enclosing.back().label );
    }
  };
  for ( auto const& [prefix, entry] : prefixes.entry() ) {
    Address const first = firstOf( prefix );
    leaveThose( [first]( Enclosing const& each ) { return each.last < first; } );
    addPiece( first, entry.value.value() );
    enclosing.push_back( { lastOf( prefix ), entry.value.value() } );
  }
  leaveThose( []( Enclosing const& ) { return true; } );
  indexFirstBits();
}

std::uint16_t AddressTable::labelOf( Vell::IpGenPrefix const& address ) const {
  Address const wanted = firstOf( address );
  std::size_t const firstBits = firstBitsOf( wanted );
  std::size_t at = pieceOfFirstBits_[firstBits];
  // The piece is one of `left` from `at` on; without a branch, which would be guessed wrong every other time.
  std::size_t left = pieceOfFirstBits_[firstBits + 1] - at + 1;
  while ( left > 1 ) {
    std::size_t const half = left / 2;
    at += from_[at + half] <= wanted ? half : 0;
    left -= half;
  }
  return label_[at];
}

AddressTable::Address AddressTable::firstOf( Vell::IpGenPrefix const& prefix ) {
  if ( prefix.af() == Vell::AddressFamily::ipv4 ) return Address{ prefix.ipv4Address() } << 96;
  Vell::Ip6Addr const address = prefix.ipv6Address();
  return Address{ address.high() } << 64 | address.low();
}

/// A shift by the full width is undefined, and only the default route has no bits of its own.
AddressTable::Address AddressTable::lastOf( Vell::IpGenPrefix const& prefix ) {
  Address const others = prefix.length() == 128 ? 0 : ~Address{ 0 } >> prefix.length();
  return firstOf( prefix ) | others;
}

/// The last word on an address counts; neighbours with one label are one piece.
void AddressTable::addPiece( Address from, std::uint16_t label ) {
  if ( !from_.empty() && from_.back() == from ) {
    from_.pop_back();
    label_.pop_back();
  }
  if ( !label_.empty() && label_.back() == label ) return;
  from_.push_back( from );
  label_.push_back( label );
}

void AddressTable::indexFirstBits() {
  firstBits_ = std::min( static_cast<unsigned>( std::bit_width( from_.size() ) ) + 4, kMostFirstBits );
  pieceOfFirstBits_.resize( ( std::size_t{ 1 } << firstBits_ ) + 1 );
  std::uint32_t piece = 0;
  for ( std::size_t firstBits = 0; firstBits + 1 != pieceOfFirstBits_.size(); ++firstBits ) {
    Address const first = Address{ firstBits } << ( 128 - firstBits_ );
    while ( piece + 1 != from_.size() && from_[piece + 1] <= first ) ++piece;
    pieceOfFirstBits_[firstBits] = piece;
  }
  pieceOfFirstBits_.back() = static_cast<std::uint32_t>( from_.size() - 1 );
}

// Values

ValueTable::ValueTable( PDRangeXformEntryColl const& ranges, std::uint32_t maximum, std::uint16_t invalid )
    : labels_( std::size_t{ maximum } + 1, invalid ) {
  for ( auto const& [range, entry] : ranges.entry() ) {
    if ( range.first() > maximum ) break;
    auto const first = labels_.begin() + range.first();
    std::fill( first, labels_.begin() + std::min<std::uint32_t>( range.last(), maximum ) + 1, entry.value.value() );
  }
}

// Pairs

PairTable::PairTable( PDComboEntryColl const& pairs, std::uint16_t invalid ) : invalid_( invalid ) {
  if ( pairs.entry().empty() ) return;
  slots_.resize( std::bit_ceil( 2 * pairs.entry().size() ) );
  for ( auto const& [pair, entry] : pairs.entry() ) {
    std::uint32_t const wanted = pairOf( pair.srcLabel.value(), pair.dstLabel.value() );
    slots_[slotOf( wanted )] = { wanted, entry.value.value(), true };
  }
}

std::uint16_t PairTable::labelOf( std::uint16_t source, std::uint16_t destination ) const {
  if ( slots_.empty() ) return invalid_;
  Slot const& slot = slots_[slotOf( pairOf( source, destination ) )];
  return slot.used ? slot.label : invalid_;
}

std::size_t PairTable::slotOf( std::uint32_t pair ) const {
  std::size_t const last = slots_.size() - 1;
  std::size_t at = ( pair * std::uint64_t{ 0x9E3779B97F4A7C15 } ) >> 32 & last;
  while ( slots_[at].used && slots_[at].pair != pair ) at = ( at + 1 ) & last;
  return at;
}

}  // namespace Orvex::Host
