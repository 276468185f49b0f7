#include "PolicyBuilder.h"

#include <algorithm>

namespace Orvex::Bench {

std::vector<L4PortRange> normalised( std::vector<L4PortRange> ranges ) {
  std::sort( ranges.begin(), ranges.end() );
  std::vector<L4PortRange> merged;
  for ( L4PortRange const& range : ranges ) {
    if ( merged.empty() || range.rangeStart() > merged.back().rangeEnd() + 1 )
      merged.push_back( range );
    else
      merged.back().rangeEndIs( std::max( merged.back().rangeEnd(), range.rangeEnd() ) );
  }
  if ( !merged.empty() && merged.front().isAny() ) merged.clear();
  return merged;
}

Kiv::Ptr<IpPrefixList> listOf( Vell::IpGenPrefix const& prefix ) {
  auto list = Kiv::make<IpPrefixList>();
  list->addrIs( prefix );
  return list;
}

PolicyBuilder::PolicyBuilder( Vell::AddressFamily family )
    : config_( Kiv::make<AclConfigColl>( Brae::ChipId( 0 ) ) ),
      acl_( config_->aclIs( family == Vell::AddressFamily::ipv4 ? "ipv4/bench" : "ipv6/bench" ) ) {}

Kiv::Ptr<RuleConfig> PolicyBuilder::addRule() {
  auto const rule = acl_->ruleByNameIs( "rule" + std::to_string( rules_ ) );
  rule->ruleFilterIs();
  return acl_->ruleByIdIs( AceIndex( rules_++ ), rule );
}

}  // namespace Orvex::Bench
