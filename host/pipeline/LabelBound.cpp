#include "pipeline/LabelBound.h"

#include <algorithm>
#include <tuple>

#include "pipeline/StageMembers.h"
#include "policy/AclConfigBuilder.h"

namespace Orvex::Host {

namespace {

/// A prefix that is a list of its own, and the first rule that has it.
struct Alone {
  Vell::IpGenPrefix prefix;
  /// In the order of all ACLs' rules.
  std::size_t order;
  Acl const* acl;
  std::uint32_t rule;
};

/// With the prefix of every such list, once a rule.
template <class Visit>
void visitAlone( Policy const& policy, PrefixXformKey space, Visit const& visit ) {
  for ( Acl const& acl : policy.acls ) {
    if ( acl.family != space.af() ) continue;
    for ( Rule const& rule : acl.rules ) {
      SharedPrefixList const& list = space.src() ? rule.source : rule.destination;
      if ( list && list->prefixes.size() == 1 && list->excepts.empty() ) visit( list->prefixes.front(), acl, rule );
    }
  }
}

/// Each prefix once, in pre-order.
std::vector<Alone> prefixesAlone( Policy const& policy, PrefixXformKey space ) {
  std::vector<Alone> alone;
  visitAlone( policy, space, [&alone]( Vell::IpGenPrefix const& prefix, Acl const& acl, Rule const& rule ) {
    alone.push_back( { prefix, alone.size(), &acl, rule.index } );
  } );
  std::sort( alone.begin(), alone.end(), []( Alone const& a, Alone const& b ) {
    return std::tie( a.prefix, a.order ) < std::tie( b.prefix, b.order );
  } );
  auto const same = []( Alone const& a, Alone const& b ) { return a.prefix == b.prefix; };
  alone.erase( std::unique( alone.begin(), alone.end(), same ), alone.end() );
  return alone;
}

/// For each how many begin with it, itself included. Those that do stand behind it, one after the other.
std::vector<std::uint64_t> countsWithin( std::vector<Alone> const& alone ) {
  std::vector<std::uint64_t> counts( alone.size() );
  std::vector<std::size_t> around;
  auto const close = [&] {
    std::size_t const inner = around.back();
    around.pop_back();
    if ( !around.empty() ) counts[around.back()] += counts[inner];
  };
  for ( std::size_t at = 0; at != alone.size(); ++at ) {
    while ( !around.empty() && !alone[around.back()].prefix.contains( alone[at].prefix ) ) close();
    counts[at] = 1;
    around.push_back( at );
  }
  while ( !around.empty() ) close();
  return counts;
}

}  // namespace

std::uint64_t leastPrefixLabels( Policy const& policy, PrefixXformKey space ) {
  std::vector<Vell::IpGenPrefix> alone;
  visitAlone( policy, space,
              [&alone]( Vell::IpGenPrefix const& prefix, Acl const&, Rule const& ) { alone.push_back( prefix ); } );
  std::sort( alone.begin(), alone.end() );
  return static_cast<std::uint64_t>( std::unique( alone.begin(), alone.end() ) - alone.begin() );
}

std::vector<Cost> prefixesWithMostLabels( Policy const& policy, PrefixXformKey space ) {
  auto const alone = prefixesAlone( policy, space );
  auto const counts = countsWithin( alone );
  std::vector<std::size_t> dearest( alone.size() );
  for ( std::size_t at = 0; at != alone.size(); ++at ) dearest[at] = at;
  auto const end = dearest.begin() + static_cast<std::ptrdiff_t>( std::min( kCostliest, dearest.size() ) );
  std::partial_sort( dearest.begin(), end, dearest.end(), [&]( std::size_t a, std::size_t b ) {
    return std::tie( counts[b], alone[a].order ) < std::tie( counts[a], alone[b].order );
  } );
  std::vector<Cost> costs;
  for ( auto at = dearest.begin(); at != end; ++at ) {
    Acl const& acl = *alone[*at].acl;
    PDAclKey const key( acl.family, libraryAclName( acl.family, acl.name ) );
    costs.push_back( { tableText( space ) + " of " + ruleText( key, alone[*at].rule ), counts[*at] } );
  }
  return costs;
}

}  // namespace Orvex::Host
