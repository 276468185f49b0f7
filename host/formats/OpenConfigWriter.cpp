#include "formats/OpenConfigWriter.h"

#include <algorithm>
#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <span>
#include <unordered_map>
#include <utility>

#include "formats/ClosingRule.h"
#include "formats/FormatLosses.h"
#include "formats/InstanceDocument.h"
#include "formats/OpenConfigIdentities.h"
#include "formats/OpenConfigPrefixSets.h"
#include "policy/AclFields.h"
#include "policy/NumberNames.h"

namespace Orvex::Host {

namespace {

using Json = nlohmann::ordered_json;
using Vell::AddressFamily;

bool isSingle( RangeSet const& ranges ) { return ranges.size() == 1 && ranges[0].first == ranges[0].last; }

std::string qualified( std::string_view module, std::string_view name ) {
  return std::string( module ) + ":" + std::string( name );
}
std::string ofAcl( std::string_view name ) { return qualified( "openconfig-acl", name ); }

std::string_view nameOf( Identities const& identities, std::uint32_t number ) {
  auto const found = std::find_if( identities.names.begin(), identities.names.end(),
                                   [number]( NamedNumber const& each ) { return each.number == number; } );
  return found == identities.names.end() ? std::string_view() : found->name;
}

Json protocolJson( std::uint32_t protocol ) {
  std::string_view const name = nameOf( kOpenConfigProtocols, protocol );
  return name.empty() ? Json( protocol ) : Json( qualified( kOpenConfigProtocols.module, name ) );
}

Json rangeJson( ValueRange range ) {
  if ( range.first == range.last ) return range.first;
  return std::to_string( range.first ) + ".." + std::to_string( range.last );
}

Json rangesJson( RangeSet const& ranges ) {
  Json json = Json::array();
  for ( ValueRange const range : ranges ) json.push_back( rangeJson( range ) );
  return json;
}

Json prefixesJson( std::vector<Vell::IpGenPrefix> const& prefixes ) {
  Json json = Json::array();
  for ( Vell::IpGenPrefix const& each : prefixes ) json.push_back( textOf( each ) );
  return json;
}

/// The sets that rules use, by what they match.
class DefinedSets {
 public:
  explicit DefinedSets( PrefixListNames const& names ) : userNames_( names ) {
    for ( auto const& [list, name] : names ) taken_.insert( name );
  }

  /// How rules write a list: an address, or the name of a set, which is defined when it has not been yet.
  struct Addresses {
    enum Kind : std::uint32_t { kNone, kAny, kPrefix, kSet };

    Kind kind = kNone;
    std::string text = {};
  };

  Addresses const& addresses( SharedPrefixList const& list ) {
    auto const [known, isNew] = addresses_.emplace( list.get(), Addresses() );
    if ( isNew ) known->second = newAddresses( *list );
    return known->second;
  }

  std::string const& nameOf( RangeSet const& ports ) {
    auto const [known, isNew] = portSets_.emplace( ports, "" );
    if ( !isNew ) return known->second;
    known->second = newName( "ports", portNames_ );
    Json config = { { "name", known->second }, { "port", rangesJson( ports ) } };
    ports_.push_back( { { "name", known->second }, { "config", std::move( config ) } } );
    return known->second;
  }

  /// Empty when no rule uses one.
  Json takeJson() {
    Json sets = Json::object();
    if ( !ipv4_.empty() ) sets["ipv4-prefix-sets"] = { { "ipv4-prefix-set", std::move( ipv4_ ) } };
    if ( !ipv6_.empty() ) sets["ipv6-prefix-sets"] = { { "ipv6-prefix-set", std::move( ipv6_ ) } };
    if ( !ports_.empty() ) sets["port-sets"] = { { "port-set", std::move( ports_ ) } };
    return sets;
  }

 private:
  Addresses newAddresses( PrefixList const& list ) {
    PrefixList const set = openConfigSetOf( list );
    auto const named = userNames_.find( list );
    bool const isNamed = named != userNames_.end();
    if ( set.prefixes.empty() ) return { Addresses::kNone };
    bool const isOne = set.prefixes.size() == 1 && set.excepts.empty();
    if ( isOne && set.prefixes[0].isDefaultRoute() ) return { Addresses::kAny };
    if ( isOne && !isNamed ) return { Addresses::kPrefix, textOf( set.prefixes[0] ) };
    auto const [known, isNew] = prefixSets_.emplace( set, "" );
    if ( isNew ) {
      known->second = isNamed ? named->second : newName( "set", prefixNames_ );
      define( known->second, set );
    }
    return { Addresses::kSet, known->second };
  }

  void define( std::string const& name, PrefixList const& set ) {
    Json config = { { "name", name }, { "prefix", prefixesJson( set.prefixes ) } };
    if ( !set.excepts.empty() ) config["exclude-prefix"] = prefixesJson( set.excepts );
    Json& sets = set.prefixes[0].af() == AddressFamily::ipv4 ? ipv4_ : ipv6_;
    sets.push_back( { { "name", name }, { "config", std::move( config ) } } );
  }

  std::string newName( std::string const& stem, std::size_t& count ) {
    std::string name;
    do name = stem + std::to_string( ++count );
    while ( taken_.contains( name ) );
    return name;
  }

  PrefixListNames const& userNames_;
  std::set<std::string> taken_;
  std::unordered_map<PrefixList const*, Addresses> addresses_;
  std::map<PrefixList, std::string> prefixSets_;
  std::map<RangeSet, std::string> portSets_;
  std::size_t prefixNames_ = 0;
  std::size_t portNames_ = 0;
  Json ipv4_ = Json::array();
  Json ipv6_ = Json::array();
  Json ports_ = Json::array();
};

class Writer {
 public:
  explicit Writer( LocatedPolicy const& located ) : located_( located ), sets_( located.listNames ) {}

  std::optional<std::string> text( Diagnostics& diagnostics ) {
    Json acls = Json::array();
    for ( Acl const& acl : located_.policy.acls ) acls.push_back( aclJson( acl ) );
    if ( !losses_.empty() ) {
      losses_.report( located_.places, diagnostics );
      return std::nullopt;
    }
    Json document = Json::object();
    if ( Json sets = sets_.takeJson(); !sets.empty() ) document[std::string( kOpenConfigSets )] = std::move( sets );
    document[std::string( kOpenConfigAcl )] = { { "acl-sets", { { "acl-set", std::move( acls ) } } } };
    return document.dump( 2 ) + "\n";
  }

 private:
  Json aclJson( Acl const& acl ) {
    acl_ = &acl;
    std::string const type = ofAcl( acl.family == AddressFamily::ipv4 ? "ACL_IPV4" : "ACL_IPV6" );
    Json entries = Json::array();
    for ( Rule const& rule : acl.rules ) entries.push_back( entryJson( rule ) );
    if ( acl.defaultAction == DefaultAction::permit ) entries.push_back( closingJson() );
    Json json = { { "name", acl.name }, { "type", type }, { "config", { { "name", acl.name }, { "type", type } } } };
    if ( !entries.empty() ) json["acl-entries"] = { { "acl-entry", std::move( entries ) } };
    return json;
  }

  Json closingJson() {
    auto const number = closingRuleNumber( *acl_ );
    if ( !number ) losses_.add( "has no number left for a last entry that permits the rest", *acl_ );
    Json json = headJson( number.value_or( 0 ) );
    json["actions"] = { { "config", { { "forwarding-action", ofAcl( "ACCEPT" ) } } } };
    return json;
  }

  static Json headJson( std::uint32_t id ) {
    return { { "sequence-id", id }, { "config", { { "sequence-id", id } } } };
  }

  void lose( std::string_view what ) { losses_.add( what, *acl_, *rule_ ); }

  Json entryJson( Rule const& rule ) {
    rule_ = &rule;
    Json json = headJson( rule.index );
    if ( rule.name != std::to_string( rule.index ) ) json["config"]["description"] = rule.name;
    Json ip = ipJson();
    if ( !ip.empty() ) json[acl_->family == AddressFamily::ipv4 ? "ipv4" : "ipv6"] = std::move( ip );
    Json transport = transportJson();
    if ( !transport.empty() ) json["transport"] = { { "config", std::move( transport ) } };
    json["actions"] = { { "config", actionsJson() } };
    return json;
  }

  Json ipJson() {
    Json config = Json::object();
    addAddresses( config, "source-address", rule_->source );
    addAddresses( config, "destination-address", rule_->destination );
    addDscp( config );
    addValue( config, "length", Field::length, "matches one length" );
    addProtocol( config );
    addValue( config, "hop-limit", Field::ttl, "matches one hop limit" );
    addFragmentOffsets( config );
    Json ip = Json::object();
    if ( !config.empty() ) ip["config"] = std::move( config );
    addIcmpType( ip );
    return ip;
  }

  void addAddresses( Json& config, std::string const& name, SharedPrefixList const& list ) {
    if ( !list ) return;
    auto const& [kind, text] = sets_.addresses( list );
    if ( kind == DefinedSets::Addresses::kNone ) lose( "has no set that matches no address" );
    if ( kind == DefinedSets::Addresses::kPrefix ) config[name] = text;
    if ( kind == DefinedSets::Addresses::kSet ) config[name + "-prefix-set"] = text;
  }

  void addDscp( Json& config ) {
    RangeSet const& values = rule_->ranges[Field::dscp];
    if ( values.empty() ) return;
    if ( isSingle( values ) ) {
      config["dscp"] = values[0].first;
      return;
    }
    Json& set = config["dscp-set"] = Json::array();
    for ( ValueRange const range : values )
      for ( std::uint32_t value = range.first; value <= range.last; ++value ) set.push_back( value );
  }

  void addValue( Json& config, char const* name, Field field, std::string_view loss ) {
    RangeSet const& values = rule_->ranges[field];
    if ( values.empty() ) return;
    if ( isSingle( values ) )
      config[name] = values[0].first;
    else
      lose( loss );
  }

  void addProtocol( Json& config ) {
    static constexpr std::uint32_t kMaxProtocol = 254;
    RangeSet const& protocols = rule_->ranges[Field::proto];
    if ( protocols.empty() ) return;
    if ( isSingle( protocols ) && protocols[0].first <= kMaxProtocol )
      config["protocol"] = protocolJson( protocols[0].first );
    else
      lose( "matches one protocol from 0 to 254" );
  }

  bool matchesLaterFragments() const {
    return rule_->ranges[Field::fragment] == RangeSet{ { 1, maximumOf( Field::fragment ) } };
  }

  /// All later fragments are a detail of the transport, if the rule has no other there.
  bool fragmentsAreDetail() const { return matchesLaterFragments() && !rule_->tcpInit && !rule_->tcpEstablished; }

  void addFragmentOffsets( Json& config ) {
    RangeSet const& offsets = rule_->ranges[Field::fragment];
    if ( offsets.empty() || fragmentsAreDetail() ) return;
    if ( acl_->family == AddressFamily::ipv4 )
      config["fragment-offsets"] = rangesJson( offsets );
    else
      lose( "matches fragment offsets in IPv4 alone, and in IPv6 all later fragments" );
  }

  void addIcmpType( Json& ip ) {
    RangeSet const& types = rule_->ranges[Field::icmpType];
    if ( types.empty() ) return;
    bool const ipv4 = acl_->family == AddressFamily::ipv4;
    std::uint32_t const protocol = ipv4 ? kIcmp : kIcmp6;
    Identities const& known = openConfigIcmpTypes( acl_->family );
    std::string_view const name = isSingle( types ) ? Host::nameOf( known, types[0].first ) : std::string_view();
    if ( rule_->ranges[Field::proto] != RangeSet{ { protocol, protocol } } )
      lose( "has ICMP types of the family's ICMP alone" );
    else if ( name.empty() )
      lose( "matches one ICMP type, of those that it has a name for" );
    else
      ip[ipv4 ? "icmpv4" : "icmpv6"] = { { "config", { { "type", qualified( known.module, name ) } } } };
  }

  Json transportJson() {
    Json config = Json::object();
    addPorts( config, "source-port", Field::sport );
    addPorts( config, "destination-port", Field::dport );
    if ( rule_->tcpInit || rule_->tcpEstablished ) {
      if ( !allHaveTcpFlags( rule_->ranges[Field::proto] ) ) lose( "has TCP flags of TCP alone" );
      addDetail( config, rule_->tcpInit ? "TCP_INITIAL" : "TCP_ESTABLISHED" );
    } else if ( fragmentsAreDetail() ) {
      addDetail( config, "FRAGMENT" );
    }
    return config;
  }

  static void addDetail( Json& config, char const* detail ) {
    config["detail-mode"] = "BUILTIN";
    config["builtin-detail"] = detail;
  }

  void addPorts( Json& config, std::string const& name, Field field ) {
    RangeSet const& ports = rule_->ranges[field];
    if ( ports.empty() ) return;
    if ( !allHavePorts( rule_->ranges[Field::proto] ) )
      lose( "has ports of protocols that have them alone" );
    else if ( ports.size() == 1 )
      config[name] = rangeJson( ports[0] );
    else
      config[name + "-set"] = sets_.nameOf( ports );
  }

  Json actionsJson() {
    OrvexActionValue const& action = rule_->action;
    if ( action.setDscpEnabled ) lose( "has no action that sets the DSCP" );
    if ( action.setTcEnabled ) lose( "has no action that sets the traffic class" );
    if ( action.sflowEnabled ) lose( "has no action that samples" );
    Json json = { { "forwarding-action", ofAcl( action.dropEnabled ? "DROP" : "ACCEPT" ) } };
    if ( action.logEnabled ) json["log-action"] = ofAcl( "LOG_SYSLOG" );
    return json;
  }

  LocatedPolicy const& located_;
  DefinedSets sets_;
  FormatLosses losses_{ "OpenConfig" };
  Acl const* acl_ = nullptr;
  Rule const* rule_ = nullptr;
};

}  // namespace

std::optional<std::string> openConfigText( LocatedPolicy const& located, Diagnostics& diagnostics ) {
  return Writer( located ).text( diagnostics );
}

}  // namespace Orvex::Host
