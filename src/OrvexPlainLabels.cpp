#include "Orvex/OrvexPlainLabels.h"

#include <algorithm>

namespace Orvex {

namespace {

bool endsBefore( PlainLabels::Interval const& interval, std::uint32_t label ) { return interval.last < label; }

}  // namespace

PlainLabels::PlainLabels( std::span<Interval const> intervals ) {
  if ( intervals.size() == 1 ) single_ = intervals.front();
  if ( intervals.size() > 1 ) several_.assign( intervals.begin(), intervals.end() );
  for ( Interval const& interval : intervals ) size_ += interval.last - interval.first + std::size_t{ 1 };
}

bool PlainLabels::operator==( PlainLabels const& other ) const {
  return size_ == other.size_ &&
         std::equal( intervals().begin(), intervals().end(), other.intervals().begin(), other.intervals().end() );
}

bool PlainLabels::has( PlainLabel label ) const {
  auto const all = intervals();
  auto const at = std::lower_bound( all.begin(), all.end(), label.value(), endsBefore );
  return at != all.end() && at->first <= label.value();
}

bool PlainLabels::insert( PlainLabel label ) {
  std::uint32_t const value = label.value();
  auto const all = ownIntervals();
  auto const at = all.empty() || all.back().last < value
                      ? all.end()
                      : std::lower_bound( all.begin(), all.end(), value, endsBefore );
  bool const behind = at != all.end();
  if ( behind && at->first <= value ) return false;
  auto const position = static_cast<std::size_t>( at - all.begin() );
  bool const extendsPrevious = position != 0 && all[position - 1].last + 1 == value;
  bool const extendsNext = behind && value + 1 == at->first;
  if ( extendsPrevious && extendsNext ) {
    all[position - 1].last = at->last;
    eraseInterval( position );
  } else if ( extendsPrevious ) {
    all[position - 1].last = value;
  } else if ( extendsNext ) {
    at->first = value;
  } else {
    insertInterval( position, { value, value } );
  }
  ++size_;
  return true;
}

bool PlainLabels::erase( PlainLabel label ) {
  std::uint32_t const value = label.value();
  auto const all = ownIntervals();
  auto const at = std::lower_bound( all.begin(), all.end(), value, endsBefore );
  if ( at == all.end() || at->first > value ) return false;
  auto const position = static_cast<std::size_t>( at - all.begin() );
  Interval const whole = *at;
  if ( whole.first == whole.last ) {
    eraseInterval( position );
  } else if ( whole.first == value ) {
    at->first = value + 1;
  } else {
    at->last = value - 1;
    if ( value != whole.last ) insertInterval( position + 1, { value + 1, whole.last } );
  }
  --size_;
  return true;
}

void PlainLabels::insertInterval( std::size_t at, Interval interval ) {
  if ( empty() ) {
    single_ = interval;
    return;
  }
  if ( several_.empty() ) several_.push_back( single_ );
  several_.insert( several_.begin() + static_cast<std::ptrdiff_t>( at ), interval );
}

void PlainLabels::eraseInterval( std::size_t at ) {
  if ( several_.empty() ) return;  // the last label goes, and with it the interval
  several_.erase( several_.begin() + static_cast<std::ptrdiff_t>( at ) );
  if ( several_.size() != 1 ) return;
  single_ = several_.front();
  several_.clear();
}

}  // namespace Orvex
