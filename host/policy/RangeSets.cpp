#include "policy/RangeSets.h"

#include <algorithm>
#include <utility>

namespace Orvex::Host {

namespace {

RangeSet merged( RangeSet ranges ) {
  std::sort( ranges.begin(), ranges.end() );
  RangeSet result;
  for ( ValueRange const range : ranges ) {
    bool const touches =
        !result.empty() && ( range.first <= result.back().last || range.first - 1 == result.back().last );
    if ( touches )
      result.back().last = std::max( result.back().last, range.last );
    else
      result.push_back( range );
  }
  return result;
}

}  // namespace

RangeSet difference( RangeSet from, RangeSet taken ) {
  taken = merged( std::move( taken ) );
  RangeSet result;
  auto next = taken.begin();  // the first that does not end before what is left
  for ( ValueRange left : merged( std::move( from ) ) ) {
    bool isLeft = true;
    while ( isLeft ) {
      while ( next != taken.end() && next->last < left.first ) ++next;
      if ( next == taken.end() || next->first > left.last ) break;
      if ( next->first > left.first ) result.push_back( { left.first, next->first - 1 } );
      isLeft = next->last < left.last;
      if ( isLeft ) left.first = next->last + 1;
    }
    if ( isLeft ) result.push_back( left );
  }
  return result;
}

}  // namespace Orvex::Host
