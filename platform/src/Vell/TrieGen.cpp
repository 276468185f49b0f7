#include "Vell/TrieGen.h"

#include <algorithm>
#include <utility>

#include "Kiv/FatalCheck.h"
#include "Vell/PrefixSort.h"

namespace Vell {

TrieGen::TrieGen( Kiv::String name, AddressFamily af ) : name_( std::move( name ) ), af_( af ) {}

void TrieGen::routeIs( IpGenPrefix const& prefix, bool present ) {
  KIV_CHECK( prefix.af() == af_ );
  KIV_CHECK( walks_ == 0 );
  if ( present ) {
    members_.push_back( prefix );
    return;
  }
  putInOrder();
  Position const position = lowerBound( prefix );
  if ( !isAt( position, prefix ) ) return;
  members_.erase( members_.begin() + position );
  ordered_ = members_.size();
  linkParents();
}

bool TrieGen::has( IpGenPrefix const& prefix ) const {
  putInOrder();
  return isAt( lowerBound( prefix ), prefix );
}

std::size_t TrieGen::size() const {
  putInOrder();
  return members_.size();
}

std::optional<IpGenPrefix> TrieGen::findParent( IpGenPrefix const& prefix ) const {
  putInOrder();
  Position const parent = parentPosition( prefix );
  if ( parent == kNone ) return std::nullopt;
  return members_[parent];
}

std::optional<IpGenPrefix> TrieGen::findLongestMatch( IpGenPrefix const& prefix ) const {
  if ( has( prefix ) ) return prefix;
  return findParent( prefix );
}

void TrieGen::preOrderWalk( IpGenPrefix const& start, TrieGenWalkCallback& callback ) const {
  putInOrder();
  struct Walking {
    explicit Walking( unsigned& walks ) : walks_( walks ) { ++walks_; }
    ~Walking() { --walks_; }
    unsigned& walks_;
  } const walking( walks_ );

  for ( Position at = lowerBound( start ); at != members_.size() && start.contains( members_[at] ); ++at ) {
    walkPosition_ = at;
    if ( !callback.handlePrefix( members_[at] ) ) return;
  }
}

void TrieGen::putInOrder() const {
  if ( ordered_ == members_.size() ) return;
  auto const added = members_.begin() + static_cast<std::ptrdiff_t>( ordered_ );
  sortPrefixes( { added, members_.end() } );
  std::inplace_merge( members_.begin(), added, members_.end() );
  members_.erase( std::unique( members_.begin(), members_.end() ), members_.end() );
  KIV_CHECK( members_.size() < kNone );
  ordered_ = members_.size();
  linkParents();
}

void TrieGen::linkParents() const {
  parents_.resize( members_.size() );
  for ( Position at = 0; at != members_.size(); ++at )
    parents_[at] = at == 0 ? kNone : nearestContaining( at - 1, members_[at] );
}

TrieGen::Position TrieGen::lowerBound( IpGenPrefix const& prefix ) const {
  return static_cast<Position>( std::lower_bound( members_.begin(), members_.end(), prefix ) - members_.begin() );
}

TrieGen::Position TrieGen::parentPosition( IpGenPrefix const& prefix ) const {
  if ( isAt( walkPosition_, prefix ) ) return parents_[walkPosition_];
  Position const position = lowerBound( prefix );
  if ( isAt( position, prefix ) ) return parents_[position];
  return position == 0 ? kNone : nearestContaining( position - 1, prefix );
}

TrieGen::Position TrieGen::nearestContaining( Position from, IpGenPrefix const& prefix ) const {
  while ( from != kNone && !members_[from].contains( prefix ) ) from = parents_[from];
  return from;
}

bool TrieGen::isAt( Position position, IpGenPrefix const& prefix ) const {
  return position < members_.size() && members_[position] == prefix;
}

}  // namespace Vell
