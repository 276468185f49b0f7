#include <string_view>

#include "compare/children/Roles.h"

namespace Orvex::Bench {

namespace {

using Host::Field;

std::string matchText( std::string_view what, std::string const& members, std::size_t count ) {
  std::string text( what );
  return count == 1 ? text.append( members ) : text.append( "{ " ).append( members ).append( " }" );
}

/// " saddr 10.0.0.0/8", or " saddr { 10.0.0.0/8, 10.2.0.0/16 }"; nothing for any address.
std::string addressText( std::string_view what, Host::SharedPrefixList const& list ) {
  if ( !list ) return {};
  std::string text;
  for ( Vell::IpGenPrefix const& prefix : list->prefixes ) {
    if ( !text.empty() ) text += ", ";
    text += Host::textOf( prefix );
  }
  return matchText( what, text, list->prefixes.size() );
}

std::string numberText( std::string_view what, Host::RangeSet const& ranges ) {
  if ( ranges.empty() ) return {};
  std::string text;
  for ( Host::ValueRange const& range : ranges ) {
    if ( !text.empty() ) text += ", ";
    text += std::to_string( range.first );
    if ( range.last != range.first ) text.append( "-" ).append( std::to_string( range.last ) );
  }
  return matchText( what, text, ranges.size() );
}

}  // namespace

/// Ports of rules without a protocol that has them are matched as `th`, as the chip takes them: two fields of the packet.
std::string nftRuleset( Host::Policy const& policy ) {
  bool const ipv6 = !policy.acls.empty() && policy.acls.front().family == Vell::AddressFamily::ipv6;
  std::string const family = ipv6 ? "ip6" : "ip";
  std::string text =
      "table " + family + " orvex {\n chain edge {\n  type filter hook forward priority 0; policy drop;\n";
  for ( Host::Acl const& acl : policy.acls )
    for ( Host::Rule const& rule : acl.rules ) {
      text += " ";
      text += addressText( " " + family + " saddr ", rule.source );
      text += addressText( " " + family + " daddr ", rule.destination );
      text += numberText( ipv6 ? " meta l4proto " : " ip protocol ", rule.ranges[Field::proto] );
      text += numberText( " th sport ", rule.ranges[Field::sport] );
      text += numberText( " th dport ", rule.ranges[Field::dport] );
      text += rule.action.dropEnabled ? " drop\n" : " accept\n";
    }
  return text + " }\n}\n";
}

}  // namespace Orvex::Bench
