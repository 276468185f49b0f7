#include "Orvex/OrvexPlainLabels.h"

#include <algorithm>

namespace Orvex {

namespace {

bool endsBefore( PlainLabels::Interval const& interval, std::uint32_t label ) { return interval.last < label; }

}  // namespace

PlainLabels::PlainLabels( std::vector<Interval> const& intervals ) : intervals_( intervals ) {
  for ( Interval const& interval : intervals ) size_ += interval.last - interval.first + std::size_t{ 1 };
}

bool PlainLabels::has( PlainLabel label ) const {
  auto const at = std::lower_bound( intervals_.begin(), intervals_.end(), label.value(), endsBefore );
  return at != intervals_.end() && at->first <= label.value();
}

bool PlainLabels::insert( PlainLabel label ) {
  std::uint32_t const value = label.value();
  auto const at = intervals_.empty() || intervals_.back().last < value
                      ? intervals_.end()
                      : std::lower_bound( intervals_.begin(), intervals_.end(), value, endsBefore );
  bool const behind = at != intervals_.end();
  if ( behind && at->first <= value ) return false;
  ++size_;
  bool const extendsPrevious = at != intervals_.begin() && std::prev( at )->last + 1 == value;
  bool const extendsNext = behind && value + 1 == at->first;
  if ( extendsPrevious && extendsNext ) {
    std::prev( at )->last = at->last;
    intervals_.erase( at );
  } else if ( extendsPrevious ) {
    std::prev( at )->last = value;
  } else if ( extendsNext ) {
    at->first = value;
  } else {
    intervals_.insert( at, { value, value } );
  }
  return true;
}

bool PlainLabels::erase( PlainLabel label ) {
  std::uint32_t const value = label.value();
  auto const at = std::lower_bound( intervals_.begin(), intervals_.end(), value, endsBefore );
  if ( at == intervals_.end() || at->first > value ) return false;
  --size_;
  Interval const whole = *at;
  if ( whole.first == whole.last ) {
    intervals_.erase( at );
  } else if ( whole.first == value ) {
    at->first = value + 1;
  } else {
    at->last = value - 1;
    if ( value != whole.last ) intervals_.insert( std::next( at ), { value + 1, whole.last } );
  }
  return true;
}

}  // namespace Orvex
