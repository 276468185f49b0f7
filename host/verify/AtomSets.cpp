#include "verify/AtomSets.h"

#include <algorithm>
#include <utility>

namespace Orvex::Verify {

namespace {

AtomSet intersectionOf( AtomSet const& a, AtomSet const& b ) {
  AtomSet both;
  auto inA = a.begin();
  auto inB = b.begin();
  while ( inA != a.end() && inB != b.end() ) {
    std::uint32_t const first = std::max( inA->first, inB->first );
    std::uint32_t const last = std::min( inA->last, inB->last );
    if ( first <= last ) both.push_back( { first, last } );
    if ( inA->last < inB->last )
      ++inA;
    else
      ++inB;
  }
  return both;
}

AtomSet differenceOf( AtomSet const& a, AtomSet const& b ) {
  AtomSet rest;
  auto inB = b.begin();
  for ( Interval left : a ) {
    while ( inB != b.end() && inB->last < left.first ) ++inB;
    bool isLeft = true;
    for ( auto cut = inB; isLeft && cut != b.end() && cut->first <= left.last; ++cut ) {
      if ( cut->first > left.first ) rest.push_back( { left.first, cut->first - 1 } );
      isLeft = cut->last < left.last;
      if ( isLeft ) left.first = cut->last + 1;
    }
    if ( isLeft ) rest.push_back( left );
  }
  return rest;
}

std::uint64_t pairOf( AtomSets::Id a, AtomSets::Id b ) {
  return static_cast<std::uint64_t>( a ) << 32 | static_cast<std::uint64_t>( b );
}

}  // namespace

AtomSet canonical( std::vector<Interval> intervals ) {
  if ( !std::is_sorted( intervals.begin(), intervals.end() ) ) std::sort( intervals.begin(), intervals.end() );
  AtomSet merged;
  for ( Interval const interval : intervals ) {
    if ( merged.empty() || interval.first > std::uint64_t{ merged.back().last } + 1 )
      merged.push_back( interval );
    else
      merged.back().last = std::max( merged.back().last, interval.last );
  }
  return merged;
}

std::size_t AtomSets::ContentHash::operator()( Id id ) const {
  std::uint64_t hash = 0;
  for ( Interval const interval : ( *sets )[id] )
    hash = ( hash ^ ( std::uint64_t{ interval.first } << 32 | interval.last ) ) * 0x9E3779B97F4A7C15U + ( hash >> 29 );
  return hash ^ hash >> 32;
}

AtomSets::AtomSets() : ids_( 0, ContentHash{ this }, ContentEqual{ this } ) { keep( {} ); }

AtomSets::Id AtomSets::idOf( std::vector<Interval> intervals ) { return keep( canonical( std::move( intervals ) ) ); }

AtomSets::Id AtomSets::keep( AtomSet set ) {
  Id const fresh{ static_cast<std::uint32_t>( sets_.size() ) };
  sets_.push_back( std::move( set ) );
  auto const [known, isNew] = ids_.insert( fresh );
  if ( !isNew ) {
    sets_.pop_back();
    return *known;
  }
  AtomSet const& kept = sets_.back();
  intervals_ += kept.size();
  extents_.push_back( kept.empty() ? Extent() : Extent{ { kept.front().first, kept.back().last }, kept.size() == 1 } );
  return fresh;
}

AtomSets::Id AtomSets::intersection( Id a, Id b ) {
  if ( a == b ) return a;
  if ( a == kEmpty || b == kEmpty ) return kEmpty;
  Extent const inA = extent( a );
  Extent const inB = extent( b );
  if ( areApart( inA.bounds, inB.bounds ) ) return kEmpty;
  auto const covers = []( Extent const& outer, Interval const& inner ) {
    return outer.isInterval && outer.bounds.first <= inner.first && inner.last <= outer.bounds.last;
  };
  if ( covers( inA, inB.bounds ) ) return b;
  if ( covers( inB, inA.bounds ) ) return a;
  std::uint64_t const pair = a < b ? pairOf( a, b ) : pairOf( b, a );
  if ( auto const known = intersections_.find( pair ); known != intersections_.end() ) return known->second;
  return intersections_[pair] = keep( intersectionOf( ( *this )[a], ( *this )[b] ) );
}

AtomSets::Id AtomSets::difference( Id a, Id b ) {
  Id const both = intersection( a, b );
  if ( both == kEmpty ) return a;
  if ( both == a ) return kEmpty;
  std::uint64_t const pair = pairOf( a, b );
  if ( auto const known = differences_.find( pair ); known != differences_.end() ) return known->second;
  return differences_[pair] = keep( differenceOf( ( *this )[a], ( *this )[b] ) );
}

std::size_t AtomSets::bytes() const {
  constexpr std::size_t kBytesASet = 80;
  constexpr std::size_t kBytesAResult = 48;
  return intervals_ * sizeof( Interval ) + sets_.size() * kBytesASet +
         ( intersections_.size() + differences_.size() ) * kBytesAResult;
}

}  // namespace Orvex::Verify
