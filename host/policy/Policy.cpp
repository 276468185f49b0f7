#include "policy/Policy.h"

#include <tuple>

namespace Orvex::Host {

namespace {

bool equalLists( SharedPrefixList const& a, SharedPrefixList const& b ) { return a == b || ( a && b && *a == *b ); }

}  // namespace

bool matchesHeadFragmentsOnly( Rule const& rule ) {
  return rule.tcpInit || rule.tcpEstablished || !rule.ranges[Field::sport].empty() ||
         !rule.ranges[Field::dport].empty() || !rule.ranges[Field::icmpType].empty();
}

bool operator==( Rule const& a, Rule const& b ) {
  auto const plain = []( Rule const& rule ) {
    return std::tie( rule.index, rule.name, rule.action, rule.ranges, rule.tcpInit, rule.tcpEstablished,
                     rule.continueRule );
  };
  return plain( a ) == plain( b ) && equalLists( a.source, b.source ) && equalLists( a.destination, b.destination );
}

bool operator==( Acl const& a, Acl const& b ) {
  return std::tie( a.name, a.family, a.defaultAction, a.rules ) ==
         std::tie( b.name, b.family, b.defaultAction, b.rules );
}

bool operator==( Policy const& a, Policy const& b ) { return a.acls == b.acls; }

std::string textOf( Vell::IpGenPrefix const& prefix ) {
  char text[Vell::IpGenPrefix::kTextSize];
  return { text, prefix.toChars( text ) };
}

}  // namespace Orvex::Host
