#include "pipeline/LabelBound.h"

#include <algorithm>
#include <vector>

namespace Orvex::Host {

std::uint64_t leastPrefixLabels( Policy const& policy, PrefixXformKey space ) {
  std::vector<Vell::IpGenPrefix> alone;
  for ( Acl const& acl : policy.acls ) {
    if ( acl.family != space.af() ) continue;
    for ( Rule const& rule : acl.rules ) {
      SharedPrefixList const& list = space.src() ? rule.source : rule.destination;
      if ( list && list->prefixes.size() == 1 && list->excepts.empty() ) alone.push_back( list->prefixes.front() );
    }
  }
  std::sort( alone.begin(), alone.end() );
  return static_cast<std::uint64_t>( std::unique( alone.begin(), alone.end() ) - alone.begin() );
}

}  // namespace Orvex::Host
