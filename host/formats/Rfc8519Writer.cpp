#include "formats/Rfc8519Writer.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "formats/ClosingRule.h"
#include "formats/FormatLosses.h"
#include "formats/InstanceDocument.h"
#include "input/Utf8.h"
#include "policy/NumberNames.h"
#include "policy/RangeSets.h"

namespace Orvex::Host {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::uint32_t kMaxPort = maximumOf( Field::dport );

bool isSingle( RangeSet const& ranges ) { return ranges.size() == 1 && ranges[0].first == ranges[0].last; }

/// Null when no operator says it.
Json portsJson( RangeSet const& ports ) {
  RangeSet const others = complementOf( ports, kMaxPort );
  if ( isSingle( ports ) ) return { { "operator", "eq" }, { "port", ports[0].first } };
  if ( isSingle( others ) ) return { { "operator", "neq" }, { "port", others[0].first } };
  if ( ports.size() != 1 ) return nullptr;
  if ( ports[0].first == 0 ) return { { "operator", "lte" }, { "port", ports[0].last } };
  if ( ports[0].last == kMaxPort ) return { { "operator", "gte" }, { "port", ports[0].first } };
  return { { "lower-port", ports[0].first }, { "upper-port", ports[0].last } };
}

class Writer {
 public:
  std::optional<std::string> text( LocatedPolicy const& located, Diagnostics& diagnostics ) {
    Json acls = Json::array();
    for ( Acl const& acl : located.policy.acls ) acls.push_back( aclJson( acl ) );
    if ( !losses_.empty() ) {
      losses_.report( located.places, diagnostics );
      return std::nullopt;
    }
    Json const document = { { std::string( kRfc8519Acls ), { { "acl", std::move( acls ) } } } };
    return document.dump( 2 ) + "\n";
  }

 private:
  Json aclJson( Acl const& acl ) {
    acl_ = &acl;
    if ( !names_.insert( acl.name ).second ) losses_.add( "names ACLs of both families apart", acl );
    if ( !isName( acl.name ) ) losses_.add( "has names of 1 to 64 characters", acl );
    Json aces = Json::array();
    for ( Rule const& rule : acl.rules ) aces.push_back( aceJson( rule ) );
    if ( acl.defaultAction == DefaultAction::permit ) aces.push_back( closingJson( acl ) );
    Json json = { { "name", acl.name },
                  { "type", acl.family == Vell::AddressFamily::ipv4 ? "ipv4-acl-type" : "ipv6-acl-type" } };
    if ( !aces.empty() ) json["aces"] = { { "ace", std::move( aces ) } };
    return json;
  }

  static bool isName( std::string const& name ) {
    static constexpr std::size_t kMaxCharacters = 64;
    return countCodePoints( name ) <= kMaxCharacters;
  }

  static Json closingJson( Acl const& acl ) {
    return { { "name", closingRuleName( acl ) }, { "actions", { { "forwarding", "accept" } } } };
  }

  void lose( std::string_view what ) { losses_.add( what, *acl_, *rule_ ); }

  Json aceJson( Rule const& rule ) {
    rule_ = &rule;
    if ( !isName( rule.name ) ) lose( "has names of 1 to 64 characters" );
    Json json = { { "name", rule.name } };
    Json matches = Json::object();
    Json ip = ipJson();
    if ( !ip.empty() ) matches[acl_->family == Vell::AddressFamily::ipv4 ? "ipv4" : "ipv6"] = std::move( ip );
    addTransport( matches );
    if ( !matches.empty() ) json["matches"] = std::move( matches );
    json["actions"] = actionsJson();
    return json;
  }

  Json ipJson() {
    Json ip = Json::object();
    addValue( ip, "dscp", Field::dscp, "matches one DSCP value" );
    addValue( ip, "length", Field::length, "matches one length" );
    addValue( ip, "ttl", Field::ttl, "matches one TTL" );
    addValue( ip, "protocol", Field::proto, "matches one protocol" );
    addOffset( ip );
    bool const ipv4 = acl_->family == Vell::AddressFamily::ipv4;
    addNetwork( ip, ipv4 ? "source-ipv4-network" : "source-ipv6-network", rule_->source );
    addNetwork( ip, ipv4 ? "destination-ipv4-network" : "destination-ipv6-network", rule_->destination );
    return ip;
  }

  void addValue( Json& json, char const* name, Field field, std::string_view loss ) {
    RangeSet const& values = rule_->ranges[field];
    if ( values.empty() ) return;
    if ( isSingle( values ) )
      json[name] = values[0].first;
    else
      lose( loss );
  }

  void addOffset( Json& ip ) {
    static constexpr std::uint32_t kFirst = 20;
    RangeSet const& offsets = rule_->ranges[Field::fragment];
    if ( offsets.empty() ) return;
    if ( acl_->family == Vell::AddressFamily::ipv4 && isSingle( offsets ) && offsets[0].first >= kFirst )
      ip["offset"] = offsets[0].first;
    else
      lose( "matches one fragment offset of 20 or more, in IPv4 alone" );
  }

  void addNetwork( Json& ip, char const* name, SharedPrefixList const& list ) {
    if ( !list ) return;
    if ( list->prefixes.size() == 1 && list->excepts.empty() )
      ip[name] = textOf( list->prefixes[0] );
    else
      lose( "matches one source prefix and one destination prefix" );
  }

  void addTransport( Json& matches ) {
    RangeSet const& protocols = rule_->ranges[Field::proto];
    std::uint32_t const protocol = isSingle( protocols ) ? protocols[0].first : 0;
    bool const hasPorts = !rule_->ranges[Field::sport].empty() || !rule_->ranges[Field::dport].empty();
    bool const hasIcmpType = !rule_->ranges[Field::icmpType].empty();
    if ( rule_->tcpInit || rule_->tcpEstablished ) lose( "has no TCP flags for init and established" );
    if ( hasPorts && protocol != kTcp && protocol != kUdp ) {
      lose( "has ports of TCP and UDP alone" );
    } else if ( hasPorts ) {
      Json header = Json::object();
      addPorts( header, "source-port", Field::sport );
      addPorts( header, "destination-port", Field::dport );
      matches[protocol == kTcp ? "tcp" : "udp"] = std::move( header );
    }
    if ( hasIcmpType && protocol != ( acl_->family == Vell::AddressFamily::ipv4 ? kIcmp : kIcmp6 ) )
      lose( "has ICMP types of the family's ICMP alone" );
    else if ( hasIcmpType )
      addValue( matches["icmp"], "type", Field::icmpType, "matches one ICMP type" );
  }

  void addPorts( Json& header, char const* name, Field field ) {
    if ( rule_->ranges[field].empty() ) return;
    Json ports = portsJson( rule_->ranges[field] );
    if ( ports.is_null() ) lose( "matches one range of ports, or all but one port" );
    header[name] = std::move( ports );
  }

  Json actionsJson() {
    OrvexActionValue const& action = rule_->action;
    if ( action.setDscpEnabled ) lose( "has no action that sets the DSCP" );
    if ( action.setTcEnabled ) lose( "has no action that sets the traffic class" );
    if ( action.sflowEnabled ) lose( "has no action that samples" );
    Json json = { { "forwarding", action.dropEnabled ? "drop" : "accept" } };
    if ( action.logEnabled ) json["logging"] = "log-syslog";
    return json;
  }

  FormatLosses losses_{ "RFC 8519" };
  std::set<std::string> names_;
  Acl const* acl_ = nullptr;
  Rule const* rule_ = nullptr;
};

}  // namespace

std::optional<std::string> rfc8519Text( LocatedPolicy const& located, Diagnostics& diagnostics ) {
  return Writer().text( located, diagnostics );
}

}  // namespace Orvex::Host
