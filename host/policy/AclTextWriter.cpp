#include "policy/AclTextWriter.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <unordered_map>

#include "Kiv/Value.h"
#include "policy/AclFields.h"
#include "policy/NumberNames.h"

namespace Orvex::Host {

namespace {

std::string nameText( std::string const& name ) {
  bool const isWord =
      !name.empty() && name.find_first_of( " ,\"" ) == std::string_view::npos && name[0] != '!' && name[0] != '#';
  if ( isWord ) return name;
  std::string text = "\"";
  for ( char const each : name ) {
    if ( each == '"' || each == '\\' ) text += '\\';
    text += each;
  }
  return text + '"';
}

std::string textOf( Vell::IpGenPrefix const& prefix ) {
  char text[Vell::IpGenPrefix::kTextSize];
  return { text, prefix.toChars( text ) };
}

std::string addressText( Vell::IpGenPrefix const& prefix ) {
  if ( prefix.isDefaultRoute() ) return "any";
  std::string text = textOf( prefix );
  if ( prefix.length() != Vell::addressWidthBits( prefix.af() ) ) return text;
  return "host " + text.substr( 0, text.find( '/' ) );
}

// Values

std::string valueText( std::uint32_t value, NumberNames const& names ) {
  std::string_view const name = names.name( value );
  return name.empty() ? std::to_string( value ) : std::string( name );
}

std::string listText( RangeSet const& ranges, NumberNames const& names ) {
  std::string text;
  for ( ValueRange const range : ranges ) {
    if ( !text.empty() ) text += ' ';
    text += range.first == range.last ? valueText( range.first, names )
                                      : std::to_string( range.first ) + "-" + std::to_string( range.last );
  }
  return text;
}

/// The gaps of a set that reaches from 0 to the field's last value.
RangeSet gapsOf( RangeSet const& ranges ) {
  RangeSet gaps;
  for ( std::size_t at = 1; at < ranges.size(); ++at )
    gaps.push_back( { ranges[at - 1].last + 1, ranges[at].first - 1 } );
  return gaps;
}

/// `equals` stands before values that match: "eq " for ports, nothing for other fields.
std::string setText( RangeSet const& ranges, Field field, NumberNames const& names, std::string const& equals = "" ) {
  std::uint32_t const maximum = maximumOf( field );
  ValueRange const first = ranges.front();
  if ( ranges.size() > 1 && first.first == 0 && ranges.back().last == maximum )
    return "neq " + listText( gapsOf( ranges ), names );
  if ( ranges.size() > 1 || first.first == first.last ) return equals + listText( ranges, names );
  if ( first.first == 0 ) return "lt " + std::to_string( first.last + 1 );
  if ( first.last == maximum ) return "gt " + std::to_string( first.first - 1 );
  return "range " + std::to_string( first.first ) + " " + std::to_string( first.last );
}

std::string protocolText( RangeSet const& protocols, Vell::AddressFamily family ) {
  if ( protocols.empty() ) return std::string( familyKeyword( family ) );
  std::uint32_t const ofOtherFamily = family == Vell::AddressFamily::ipv4 ? kIcmp6 : kIcmp;
  std::string text;
  for ( ValueRange const range : protocols ) {
    if ( !text.empty() ) text += ',';
    text += listText( { range }, range.first == ofOtherFamily ? kNoNames : kProtocolNames );
  }
  return text;
}

bool lacksItsProtocol( Rule const& rule ) {
  RangeSet const& protocols = rule.ranges[Field::proto];
  bool const ports = !rule.ranges[Field::sport].empty() || !rule.ranges[Field::dport].empty();
  return ( ports && !allHavePorts( protocols ) ) ||
         ( !rule.ranges[Field::icmpType].empty() && !allHaveIcmpTypes( protocols ) ) ||
         ( ( rule.tcpInit || rule.tcpEstablished ) && !allHaveTcpFlags( protocols ) );
}

class Writer {
 public:
  Writer( Policy const& policy, PrefixListNames const& names ) : policy_( policy ), userNames_( names ) {
    for ( auto const& [list, name] : names ) taken_.insert( name );
  }

  std::string text() {
    for ( Acl const& acl : policy_.acls ) add( acl );
    return lists_ + acls_;
  }

 private:
  void add( Acl const& acl ) {
    if ( !acls_.empty() ) acls_ += '\n';
    acls_ += std::string( familyKeyword( acl.family ) ) + " access-list " + nameText( acl.name ) + "\n";
    if ( std::any_of( acl.rules.begin(), acl.rules.end(), lacksItsProtocol ) )
      acls_ += "  ! Ports, ICMP types and TCP flags are compared whatever the protocol is.\n  protocol-check off\n";
    acls_ += "  default " + std::string( Kiv::stringValue( acl.defaultAction ) ) + "\n";
    for ( Rule const& rule : acl.rules ) add( rule, acl.family );
  }

  void add( Rule const& rule, Vell::AddressFamily family ) {
    acls_ += "  " + std::to_string( rule.index ) + ( rule.action.dropEnabled ? " deny" : " permit" );
    word( protocolText( rule.ranges[Field::proto], family ) );
    word( addressesText( rule.source, family ) );
    ports( rule.ranges[Field::sport] );
    word( addressesText( rule.destination, family ) );
    ports( rule.ranges[Field::dport] );
    addQualifiers( rule, family );
    addAction( rule.action );
    if ( rule.name != std::to_string( rule.index ) ) word( "name " + nameText( rule.name ) );
    acls_ += '\n';
  }

  void word( std::string const& text ) { acls_ += ' ' + text; }

  void ports( RangeSet const& ranges ) {
    if ( !ranges.empty() ) word( setText( ranges, Field::dport, kNoNames, "eq " ) );
  }

  void addQualifiers( Rule const& rule, Vell::AddressFamily family ) {
    if ( rule.tcpInit || rule.tcpEstablished ) word( rule.tcpInit ? "init" : "established" );
    addSet( "icmp-type", rule, Field::icmpType, icmpTypeNames( rule.ranges[Field::proto], family ) );
    addSet( "dscp", rule, Field::dscp, kDscpNames );
    addSet( "ttl", rule, Field::ttl, kNoNames );
    addSet( "length", rule, Field::length, kNoNames );
    addFragments( rule );
  }

  void addSet( std::string const& keyword, Rule const& rule, Field field, NumberNames const& names ) {
    if ( !rule.ranges[field].empty() ) word( keyword + " " + setText( rule.ranges[field], field, names ) );
  }

  /// The keyword for later fragments is not taken with what only head fragments have.
  void addFragments( Rule const& rule ) {
    bool const headOnly = rule.tcpInit || rule.tcpEstablished || !rule.ranges[Field::sport].empty() ||
                          !rule.ranges[Field::dport].empty() || !rule.ranges[Field::icmpType].empty();
    RangeSet const laterFragments = { { 1, maximumOf( Field::fragment ) } };
    if ( !headOnly && rule.ranges[Field::fragment] == laterFragments )
      word( "fragments" );
    else
      addSet( "fragment-offset", rule, Field::fragment, kNoNames );
  }

  void addAction( OrvexActionValue const& action ) {
    if ( action.logEnabled ) word( "log" );
    if ( action.sflowEnabled ) word( "sflow" );
    if ( action.setDscpEnabled ) word( "set-dscp " + valueText( action.dscp.value(), kDscpNames ) );
    if ( action.setTcEnabled ) word( "set-tc " + std::to_string( action.tc.value() ) );
  }

  // Prefix lists

  std::string addressesText( SharedPrefixList const& list, Vell::AddressFamily family ) {
    if ( !list ) return "any";
    if ( list->prefixes.empty() ) return "none";
    auto const known = names_.find( list.get() );
    if ( known != names_.end() ) return known->second;
    auto const named = userNames_.find( *list );
    bool const inRule = named == userNames_.end() && list->prefixes.size() == 1 && list->excepts.empty();
    if ( inRule ) return names_[list.get()] = addressText( list->prefixes.front() );
    std::string const name = nameText( named == userNames_.end() ? newName() : named->second );
    define( name, *list, family );
    return names_[list.get()] = "prefix-list " + name;
  }

  void define( std::string const& name, PrefixList const& list, Vell::AddressFamily family ) {
    lists_ += std::string( familyKeyword( family ) ) + " prefix-list " + name + "\n";
    for ( Vell::IpGenPrefix const& prefix : list.prefixes ) lists_ += "  " + addressText( prefix ) + "\n";
    for ( Vell::IpGenPrefix const& prefix : list.excepts ) lists_ += "  except " + addressText( prefix ) + "\n";
    lists_ += '\n';
  }

  std::string newName() {
    std::string name;
    do name = "list" + std::to_string( ++newNames_ );
    while ( taken_.contains( name ) );
    return name;
  }

  Policy const& policy_;
  PrefixListNames const& userNames_;
  std::set<std::string> taken_;
  std::size_t newNames_ = 0;
  std::unordered_map<PrefixList const*, std::string> names_;  // how rules write a list
  std::string lists_;
  std::string acls_;
};

}  // namespace

std::string aclText( Policy const& policy, PrefixListNames const& names ) { return Writer( policy, names ).text(); }

}  // namespace Orvex::Host
