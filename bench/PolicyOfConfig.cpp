#include "PolicyOfConfig.h"

#include <unordered_map>

#include "policy/AclConfigBuilder.h"
#include "policy/Normalise.h"

namespace Orvex::Bench {

namespace {

using Host::Field;

class PolicyLists {
 public:
  Host::SharedPrefixList of( Kiv::Ptr<IpPrefixList> const& list ) {
    if ( !list ) return nullptr;
    auto const [known, isNew] = lists_.try_emplace( list.get() );
    if ( isNew ) {
      Host::PrefixList copy;
      for ( auto prefix = list->addr().begin(); prefix; ++prefix ) copy.prefixes.push_back( *prefix );
      for ( auto prefix = list->exceptAddr().begin(); prefix; ++prefix ) copy.excepts.push_back( *prefix );
      known->second = std::make_shared<Host::PrefixList const>( std::move( copy ) );
    }
    return known->second;
  }

 private:
  std::unordered_map<IpPrefixList const*, Host::SharedPrefixList> lists_;
};

template <class Ranges>
Host::RangeSet rangesOf( Ranges const& ranges ) {
  Host::RangeSet set;
  for ( auto const& range : ranges ) set.push_back( { range.rangeStart(), range.rangeEnd() } );
  return set;
}

Host::Rule ruleOf( AceIndex index, RuleConfig const& config, PolicyLists& lists ) {
  RuleFilter const& filter = *config.ruleFilter();
  Host::Rule rule;
  rule.index = index.value();
  rule.name = std::string( config.name().view() );
  rule.action = config.action();
  rule.source = lists.of( filter.source() );
  rule.destination = lists.of( filter.destination() );
  rule.ranges[Field::sport] = rangesOf( filter.sportRange() );
  rule.ranges[Field::dport] = rangesOf( filter.dportRange() );
  rule.ranges[Field::icmpType] = rangesOf( filter.icmpType() );
  rule.ranges[Field::proto] = rangesOf( filter.proto() );
  rule.ranges[Field::length] = rangesOf( filter.length() );
  rule.ranges[Field::fragment] = rangesOf( filter.fragment() );
  rule.ranges[Field::dscp] = rangesOf( filter.dscp() );
  rule.ranges[Field::ttl] = rangesOf( filter.ttl() );
  rule.tcpInit = filter.matchTcpInit();
  rule.tcpEstablished = filter.matchTcpEstablished();
  return rule;
}

}  // namespace

Host::Policy policyOf( AclConfigColl const& config ) {
  Host::Policy policy;
  PolicyLists lists;
  for ( auto acl = config.acl().begin(); acl; ++acl ) {
    Host::Acl& copy = policy.acls.emplace_back();
    std::tie( copy.family, copy.name ) = Host::userAclName( acl.key() );
    for ( auto rule = acl.value()->ruleById().begin(); rule; ++rule )
      copy.rules.push_back( ruleOf( rule.key(), *rule.value(), lists ) );
  }
  return normalised( std::move( policy ) );
}

}  // namespace Orvex::Bench
