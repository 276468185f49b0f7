#include "PlainPolicy.h"

#include <array>
#include <string>
#include <vector>

#include "RandomPolicy.h"
#include "policy/NumberNames.h"

namespace Orvex::Host::Test {

namespace {

std::uint32_t icmpOf( Vell::AddressFamily family ) { return family == Vell::AddressFamily::ipv4 ? kIcmp : kIcmp6; }

void simplify( Rule& rule, Random& random ) {
  OrvexActionValue action;
  action.dropEnabled = rule.action.dropEnabled;
  action.logEnabled = rule.action.logEnabled;
  rule.action = action;
  rule.tcpEstablished = rule.tcpEstablished && !rule.tcpInit;
  for ( Field const field : kFields ) {
    RangeSet& set = rule.ranges[field];
    if ( !set.empty() && random.percent( 60 ) ) set = { { set[0].first, set[0].first } };
  }
  if ( random.percent( 10 ) ) rule.ranges[Field::fragment] = { { 1, maximumOf( Field::fragment ) } };
  for ( SharedPrefixList* const list : { &rule.source, &rule.destination } )
    if ( *list && !( *list )->prefixes.empty() && random.percent( 50 ) )
      *list = std::make_shared<PrefixList const>( PrefixList{ { ( *list )->prefixes[0] }, {} } );
}

/// The one that the rule's other matches need.
void setProtocol( Rule& rule, Vell::AddressFamily family, Random& random ) {
  static std::vector<std::uint32_t> const icmpTypes = { 3, 128, 133, 0, 8, 5 };
  bool const hasFlags = rule.tcpInit || rule.tcpEstablished;
  if ( hasFlags ) rule.ranges[Field::icmpType].clear();
  std::uint32_t protocol = hasFlags || random.percent( 50 ) ? kTcp : kUdp;
  if ( !rule.ranges[Field::icmpType].empty() ) {
    protocol = icmpOf( family );
    rule.ranges[Field::sport].clear();
    rule.ranges[Field::dport].clear();
    std::uint32_t const type = random.oneOf( icmpTypes );
    rule.ranges[Field::icmpType] = { { type, type } };
  }
  rule.ranges[Field::proto] = { { protocol, protocol } };
}

}  // namespace

Policy plainPolicy( Random& random ) {
  Policy policy = randomRawPolicy( random );
  for ( Acl& acl : policy.acls ) {
    acl.name += Kiv::stringValue( acl.family );
    for ( Rule& rule : acl.rules ) {
      simplify( rule, random );
      setProtocol( rule, acl.family, random );
    }
  }
  return policy;
}

}  // namespace Orvex::Host::Test
