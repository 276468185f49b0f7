#include "formats/OpenConfigPrefixSets.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>
#include <vector>

#include "packets/AddressNumber.h"
#include "policy/PrefixSets.h"

namespace Orvex::Host {

namespace {

using Prefixes = std::vector<Vell::IpGenPrefix>;

bool areHalves( Vell::IpGenPrefix const& a, Vell::IpGenPrefix const& b ) {
  return a.length() == b.length() && a.length() != 0 && cut( a, a.length() - 1 ) == cut( b, b.length() - 1 );
}

/// The fewest prefixes for the same addresses, so that each prefix within these addresses lies within one of them.
/// Requires: they ascend.
Prefixes fewest( Prefixes const& prefixes ) {
  Prefixes few;
  for ( Vell::IpGenPrefix const& each : prefixes ) {
    if ( !few.empty() && few.back().contains( each ) ) continue;
    few.push_back( each );
    while ( few.size() > 1 && areHalves( few.end()[-2], few.back() ) ) {
      few.pop_back();
      few.back() = cut( few.back(), few.back().length() - 1 );
    }
  }
  return few;
}

/// Walks the prefixes of a list from outer to inner ones.
class SetMaker {
 public:
  explicit SetMaker( PrefixList const& list ) : list_( unionOf( std::array{ &list } ) ) {}

  PrefixList set() {
    for ( Vell::IpGenPrefix const& each : list_.prefixes ) {
      bool const isInside = !result_.prefixes.empty() && result_.prefixes.back().contains( each );
      if ( isInside ) continue;
      result_.prefixes.push_back( each );
      excludeWithin( each );
    }
    PrefixList set = listOfOpenConfigSet( std::move( result_ ) );
    // A prefix that is excluded whole has gone, and what excludes it has nothing to do.
    std::erase_if( set.excepts, [&set]( Vell::IpGenPrefix const& except ) {
      auto const next = std::upper_bound( set.prefixes.begin(), set.prefixes.end(), except );
      return next == set.prefixes.begin() || !std::prev( next )->contains( except );
    } );
    return set;
  }

 private:
  /// The first of the ascending prefixes that is this one or lies within it.
  static Prefixes::const_iterator firstWithin( Prefixes const& prefixes, Vell::IpGenPrefix const& outer ) {
    auto const at = std::lower_bound( prefixes.begin(), prefixes.end(), outer );
    return at != prefixes.end() && outer.contains( *at ) ? at : prefixes.end();
  }

  /// The addresses just inside `outer` match.
  void excludeWithin( Vell::IpGenPrefix const& outer ) {
    auto at = firstWithin( list_.excepts, outer );
    while ( at != list_.excepts.end() && outer.contains( *at ) ) {
      Vell::IpGenPrefix const except = *at;
      exclude( except );
      while ( at != list_.excepts.end() && except.contains( *at ) ) ++at;
    }
  }

  /// The addresses just inside `part` do not match. Where some of them do, it is halved.
  void exclude( Vell::IpGenPrefix const& part ) {
    auto const filled = firstWithin( list_.prefixes, part );
    if ( filled == list_.prefixes.end() )
      result_.excepts.push_back( part );
    else if ( *filled == part )
      excludeWithin( part );
    else
      for ( Vell::IpGenPrefix const& half : halves( part ) ) exclude( half );
  }

  static std::array<Vell::IpGenPrefix, 2> halves( Vell::IpGenPrefix const& prefix );

  PrefixList list_;
  PrefixList result_;
};

std::array<Vell::IpGenPrefix, 2> SetMaker::halves( Vell::IpGenPrefix const& prefix ) {
  std::uint32_t const length = prefix.length() + 1;
  AddressNumber const first = firstOf( prefix );
  AddressNumber const bit = AddressNumber{ 1 } << ( Vell::addressWidthBits( prefix.af() ) - length );
  return { prefixOf( prefix.af(), first, length ), prefixOf( prefix.af(), first | bit, length ) };
}

}  // namespace

PrefixList listOfOpenConfigSet( PrefixList set ) {
  std::sort( set.prefixes.begin(), set.prefixes.end() );
  std::sort( set.excepts.begin(), set.excepts.end() );
  set.excepts = fewest( set.excepts );
  auto const isExcluded = [&set]( Vell::IpGenPrefix const& prefix ) {
    auto const next = std::upper_bound( set.excepts.begin(), set.excepts.end(), prefix );
    return next != set.excepts.begin() && std::prev( next )->contains( prefix );
  };
  auto const last = std::unique( set.prefixes.begin(), set.prefixes.end() );
  set.prefixes.erase( std::remove_if( set.prefixes.begin(), last, isExcluded ), set.prefixes.end() );
  return set;
}

PrefixList openConfigSetOf( PrefixList const& list ) { return SetMaker( list ).set(); }

}  // namespace Orvex::Host
