#include "Orvex/OrvexEntryMerging.h"

#include <algorithm>

#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexEntryMerging" );

using Entry = EntryMerging::Entry;

/// The first entry from `at` on that has this value of the bit.
std::size_t nextWith( std::vector<Entry> const& entries, std::size_t at, std::size_t end, std::uint16_t bit,
                      std::uint16_t value ) {
  while ( at != end && ( ( entries[at].mask & bit ) == 0 || ( entries[at].value & bit ) != value ) ) ++at;
  return at;
}

Entry without( Entry entry, std::uint16_t bit ) {
  return { static_cast<std::uint16_t>( entry.value & ~bit ), static_cast<std::uint16_t>( entry.mask & ~bit ) };
}

}  // namespace

void EntryMerging::rangeIs( std::uint32_t start, std::uint32_t end ) {
  forBlocksOfRange( start, end,
                    [this]( std::uint32_t first, std::uint32_t sizeBits ) { entryIs( first, full_ << sizeBits ); } );
}

std::vector<Entry> const& EntryMerging::merged() {
  merged_.clear();
  std::sort( groups_.begin(), groups_.end() );
  groups_.erase( std::unique( groups_.begin(), groups_.end() ), groups_.end() );
  mergeFrom( 0 );
  groups_.clear();
  std::sort( merged_.begin(), merged_.end() );
  return merged_;
}

/// The group from `first` to the end.
void EntryMerging::mergeFrom( std::size_t first ) {
  std::size_t const end = groups_.size();
  if ( end - first < 2 ) {
    if ( end != first ) merged_.push_back( groups_[first] );
    return;
  }
  std::uint32_t const bits = differingBits( first );
  auto const bit = static_cast<std::uint16_t>( bits & ( ~bits + 1 ) );
  if ( end - first == 2 ) {
    Entry const x = groups_[first];
    Entry const y = groups_[first + 1];
    if ( bits == bit && x.mask == y.mask )
      merged_.push_back( without( x, bit ) );
    else
      merged_.insert( merged_.end(), { x, y } );
    return;
  }
  traceHandle.trace( 8, "bit: ", bit, ", entries: ", end - first );
  bool const areAll = addWithAny( first, end, bit );
  mergeFrom( end );
  groups_.resize( end );
  if ( areAll ) return;
  for ( std::uint16_t const value : { bit, std::uint16_t{ 0 } } ) {
    addWithOne( first, end, bit, value );
    mergeFrom( end );
    groups_.resize( end );
  }
}

std::uint32_t EntryMerging::differingBits( std::size_t first ) const {
  std::uint32_t bits = 0;
  for ( std::size_t at = first + 1; at != groups_.size(); ++at )
    bits |= static_cast<std::uint32_t>( groups_[at].value ^ groups_[first].value ) |
            static_cast<std::uint32_t>( groups_[at].mask ^ groups_[first].mask );
  return bits;
}

/// Those that have any value of the bit, and those that are left with both. True when that is all of them.
bool EntryMerging::addWithAny( std::size_t first, std::size_t end, std::uint16_t bit ) {
  for ( std::size_t at = first; at != end; ++at )
    if ( ( groups_[at].mask & bit ) == 0 ) groups_.push_back( groups_[at] );
  std::size_t const pairs = groups_.size();
  std::size_t zero = nextWith( groups_, first, end, bit, 0 );
  std::size_t one = nextWith( groups_, first, end, bit, bit );
  while ( zero != end && one != end ) {
    Entry const x = without( groups_[zero], bit );
    Entry const y = without( groups_[one], bit );
    if ( x == y ) groups_.push_back( x );
    if ( x <= y ) zero = nextWith( groups_, zero + 1, end, bit, 0 );
    if ( y <= x ) one = nextWith( groups_, one + 1, end, bit, bit );
  }
  bool const areAll = ( pairs - end ) + 2 * ( groups_.size() - pairs ) == end - first;
  if ( pairs == end || pairs == groups_.size() ) return areAll;
  auto const begin = groups_.begin() + static_cast<std::ptrdiff_t>( end );
  std::inplace_merge( begin, groups_.begin() + static_cast<std::ptrdiff_t>( pairs ), groups_.end() );
  groups_.erase( std::unique( begin, groups_.end() ), groups_.end() );
  return areAll;
}

/// Those that have this value of the bit, and are not left with the other one.
void EntryMerging::addWithOne( std::size_t first, std::size_t end, std::uint16_t bit, std::uint16_t value ) {
  auto const otherValue = static_cast<std::uint16_t>( value ^ bit );
  std::size_t other = nextWith( groups_, first, end, bit, otherValue );
  for ( std::size_t at = nextWith( groups_, first, end, bit, value ); at != end;
        at = nextWith( groups_, at + 1, end, bit, value ) ) {
    Entry const entry = groups_[at];
    while ( other != end && without( groups_[other], bit ) < without( entry, bit ) )
      other = nextWith( groups_, other + 1, end, bit, otherValue );
    if ( other == end || without( groups_[other], bit ) != without( entry, bit ) ) groups_.push_back( entry );
  }
}

}  // namespace Orvex
