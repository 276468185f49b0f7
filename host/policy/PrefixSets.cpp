#include "policy/PrefixSets.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace Orvex::Host {

namespace {

/// What one list says from a prefix on inwards.
struct Answer {
  Vell::IpGenPrefix prefix;
  std::size_t list = 0;
  bool matches = false;

  /// Outer prefixes before inner ones; of the same prefix as both kinds, the one that counts last.
  friend auto operator<=>( Answer const&, Answer const& ) = default;
};

/// An answer that ends with its prefix.
struct Open {
  Vell::IpGenPrefix prefix;
  std::size_t list = 0;
  bool matchedOutside = false;
};

class Sweep {
 public:
  explicit Sweep( std::span<PrefixList const* const> lists ) : matches_( lists.size(), 0 ) {
    for ( std::size_t at = 0; at != lists.size(); ++at ) {
      for ( Vell::IpGenPrefix const& each : lists[at]->prefixes ) answers_.push_back( { each, at, true } );
      for ( Vell::IpGenPrefix const& each : lists[at]->excepts ) answers_.push_back( { each, at, false } );
    }
    std::sort( answers_.begin(), answers_.end() );
  }

  /// Calls `visit( prefix )` for each prefix that stands in some list, outer ones first, when matches() tells what the
  /// lists say from it on inwards; to its end or until `visit` returns false.
  template <class Visit>
  void run( Visit const& visit ) {
    for ( auto at = answers_.begin(); at != answers_.end(); ) {
      Vell::IpGenPrefix const prefix = at->prefix;
      closeUpTo( prefix );
      before_ = matching_ != 0;
      for ( ; at != answers_.end() && at->prefix == prefix; ++at ) open( *at );
      if ( !visit( prefix ) ) return;
    }
  }

  bool matches( std::size_t list ) const { return matches_[list] != 0; }
  bool anyMatches() const { return matching_ != 0; }
  /// Whether some list matches just outside of the prefix.
  bool anyMatchedBefore() const { return before_; }

 private:
  void closeUpTo( Vell::IpGenPrefix const& prefix ) {
    for ( ; !open_.empty() && !open_.back().prefix.contains( prefix ); open_.pop_back() )
      set( open_.back().list, open_.back().matchedOutside );
  }

  void open( Answer const& answer ) {
    open_.push_back( { answer.prefix, answer.list, matches_[answer.list] != 0 } );
    set( answer.list, answer.matches );
  }

  void set( std::size_t list, bool matches ) {
    matching_ -= matches_[list];
    matches_[list] = matches ? 1 : 0;
    matching_ += matches_[list];
  }

  std::vector<Answer> answers_;
  std::vector<Open> open_;
  std::vector<std::size_t> matches_;  // by list: 0 or 1
  std::size_t matching_ = 0;
  bool before_ = false;
};

// One prefix against a list needs no sweep, and is what most rules have.

using Prefixes = std::vector<Vell::IpGenPrefix>;

bool isOnePrefix( PrefixList const& list ) { return list.prefixes.size() == 1 && list.excepts.empty(); }

/// Whether one of the ascending prefixes lies within this one, or is it.
bool hasWithin( Prefixes const& prefixes, Vell::IpGenPrefix const& outer ) {
  auto const at = std::lower_bound( prefixes.begin(), prefixes.end(), outer );
  return at != prefixes.end() && outer.contains( *at );
}

/// The length of the longest of the ascending prefixes that contains this one; none: -1.
int longestAround( Prefixes const& prefixes, Vell::IpGenPrefix const& inner ) {
  if ( prefixes.empty() ) return -1;
  for ( int length = static_cast<int>( inner.length() ); length >= 0; --length )
    if ( std::binary_search( prefixes.begin(), prefixes.end(), cut( inner, static_cast<std::uint32_t>( length ) ) ) )
      return length;
  return -1;
}

/// What the list says from the prefix on inwards, up to its next entry.
bool matchesAt( PrefixList const& list, Vell::IpGenPrefix const& prefix ) {
  int const own = longestAround( list.prefixes, prefix );
  return own >= 0 && own >= longestAround( list.excepts, prefix );
}

bool containsPrefix( PrefixList const& list, Vell::IpGenPrefix const& prefix ) {
  if ( !matchesAt( list, prefix ) ) return false;
  auto at = std::lower_bound( list.excepts.begin(), list.excepts.end(), prefix );
  while ( at != list.excepts.end() && prefix.contains( *at ) && matchesAt( list, *at ) ) ++at;
  return at == list.excepts.end() || !prefix.contains( *at );
}

bool meetsPrefix( PrefixList const& list, Vell::IpGenPrefix const& prefix ) {
  return hasWithin( list.prefixes, prefix ) || matchesAt( list, prefix );
}

}  // namespace

Vell::IpGenPrefix cut( Vell::IpGenPrefix const& prefix, std::uint32_t length ) {
  if ( prefix.af() == Vell::AddressFamily::ipv4 ) return { prefix.ipv4Address(), length };
  return { prefix.ipv6Address(), length };
}

PrefixList unionOf( std::span<PrefixList const* const> lists ) {
  PrefixList result;
  Sweep sweep( lists );
  sweep.run( [&]( Vell::IpGenPrefix const& prefix ) {
    if ( sweep.anyMatches() != sweep.anyMatchedBefore() )
      ( sweep.anyMatches() ? result.prefixes : result.excepts ).push_back( prefix );
    return true;
  } );
  return result;
}

bool isNeedless( PrefixList const& list, Vell::IpGenPrefix const& except ) {
  if ( std::binary_search( list.prefixes.begin(), list.prefixes.end(), except ) ) return true;
  return except.isDefaultRoute() || !matchesAt( list, cut( except, except.length() - 1 ) );
}

bool contains( PrefixList const& outer, PrefixList const& inner ) {
  if ( isOnePrefix( outer ) ) {
    // What lies within a prefix stands together in the order of prefixes.
    Vell::IpGenPrefix const& only = outer.prefixes.front();
    return inner.prefixes.empty() ||
           ( only.contains( inner.prefixes.front() ) && only.contains( inner.prefixes.back() ) );
  }
  if ( isOnePrefix( inner ) ) return containsPrefix( outer, inner.prefixes.front() );
  bool contained = true;
  Sweep sweep( std::array{ &outer, &inner } );
  sweep.run( [&]( Vell::IpGenPrefix const& ) { return contained = sweep.matches( 0 ) || !sweep.matches( 1 ); } );
  return contained;
}

bool meet( PrefixList const& a, PrefixList const& b ) {
  if ( isOnePrefix( a ) ) return meetsPrefix( b, a.prefixes.front() );
  if ( isOnePrefix( b ) ) return meetsPrefix( a, b.prefixes.front() );
  bool apart = true;
  Sweep sweep( std::array{ &a, &b } );
  sweep.run( [&]( Vell::IpGenPrefix const& ) { return apart = !sweep.matches( 0 ) || !sweep.matches( 1 ); } );
  return !apart;
}

}  // namespace Orvex::Host
