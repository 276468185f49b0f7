#include "Orvex/OrvexLabelLists.h"

#include <algorithm>

#include "Kiv/FatalCheck.h"
#include "Kiv/RadixSort.h"

namespace Orvex {

LabelLists::LabelLists( std::vector<Entry> entries, std::vector<Interval> intervals, std::vector<std::uint32_t> first )
    : entries_( std::move( entries ) ), intervals_( std::move( intervals ) ), first_( std::move( first ) ) {
  Kiv::fatalUnless( !first_.empty() && first_.back() == intervals_.size(), "the lists end where their intervals do" );
  auto const isBefore = []( Entry const& a, Entry const& b ) { return a.key < b.key; };
  if ( !std::is_sorted( entries_.begin(), entries_.end(), isBefore ) )
    Kiv::sortByNumber( entries_, []( Entry const& entry ) { return entry.key.value(); } );
}

std::vector<LabelLists::Entry> LabelLists::entriesInMapOrder() const {
  std::vector<Entry> entries = entries_;
  Kiv::sortByNumber( entries, []( Entry const& entry ) { return Kiv::bitReverse( entry.key.hash() ); } );
  return entries;
}

std::optional<LabelLists::ListId> LabelLists::find( GenSetKey key ) const {
  auto const at = std::lower_bound( entries_.begin(), entries_.end(), key,
                                    []( Entry const& entry, GenSetKey k ) { return entry.key < k; } );
  if ( at == entries_.end() || at->key != key ) return std::nullopt;
  return at->list;
}

std::size_t LabelLists::labelCount( ListId list ) const {
  std::size_t count = 0;
  for ( Interval const& interval : intervals( list ) ) count += interval.last - interval.first + std::size_t{ 1 };
  return count;
}

}  // namespace Orvex
