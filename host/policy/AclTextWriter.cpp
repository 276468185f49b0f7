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

/// One rule, word by word.
class RuleText {
 public:
  /// `source` and `destination` are the rule's addresses as text.
  RuleText( Rule const& rule, Vell::AddressFamily family, std::string const& source, std::string const& destination )
      : rule_( rule ), text_( rule.action.dropEnabled ? "deny" : "permit" ) {
    word( protocolText( rule.ranges[Field::proto], family ) );
    word( source );
    ports( rule.ranges[Field::sport] );
    word( destination );
    ports( rule.ranges[Field::dport] );
    addQualifiers( icmpTypeNames( rule.ranges[Field::proto], family ) );
    addAction( rule.action );
    if ( rule.name != std::to_string( rule.index ) ) word( "name " + nameText( rule.name ) );
  }

  std::string const& text() const { return text_; }

 private:
  void word( std::string const& text ) { text_ += ' ' + text; }

  void ports( RangeSet const& ranges ) {
    if ( !ranges.empty() ) word( setText( ranges, Field::dport, kNoNames, "eq " ) );
  }

  void addQualifiers( NumberNames const& icmpTypes ) {
    if ( rule_.tcpInit || rule_.tcpEstablished ) word( rule_.tcpInit ? "init" : "established" );
    addSet( "icmp-type", Field::icmpType, icmpTypes );
    addSet( "dscp", Field::dscp, kDscpNames );
    addSet( "ttl", Field::ttl, kNoNames );
    addSet( "length", Field::length, kNoNames );
    RangeSet const laterFragments = { { 1, maximumOf( Field::fragment ) } };
    if ( rule_.ranges[Field::fragment] == laterFragments && !matchesHeadFragmentsOnly( rule_ ) )
      word( "fragments" );
    else
      addSet( "fragment-offset", Field::fragment, kNoNames );
  }

  void addSet( std::string const& keyword, Field field, NumberNames const& names ) {
    RangeSet const& ranges = rule_.ranges[field];
    if ( !ranges.empty() ) word( keyword + " " + setText( ranges, field, names ) );
  }

  void addAction( OrvexActionValue const& action ) {
    if ( action.logEnabled ) word( "log" );
    if ( action.sflowEnabled ) word( "sflow" );
    if ( action.setDscpEnabled ) word( "set-dscp " + valueText( action.dscp.value(), kDscpNames ) );
    if ( action.setTcEnabled ) word( "set-tc " + std::to_string( action.tc.value() ) );
  }

  Rule const& rule_;
  std::string text_;
};

/// Addresses that need no list of their own, or have the user's name; else nothing.
std::string addressesText( SharedPrefixList const& list, PrefixListNames const& names ) {
  if ( !list ) return "any";
  if ( list->prefixes.empty() ) return "none";
  auto const named = names.find( *list );
  if ( named != names.end() ) return "prefix-list " + nameText( named->second );
  bool const single = list->prefixes.size() == 1 && list->excepts.empty();
  return single ? addressText( list->prefixes.front() ) : "";
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
    for ( Rule const& rule : acl.rules ) {
      std::string const& source = listText( rule.source, acl.family );
      std::string const& destination = listText( rule.destination, acl.family );
      acls_ +=
          "  " + std::to_string( rule.index ) + " " + RuleText( rule, acl.family, source, destination ).text() + "\n";
    }
  }

  /// A reference that stays good. The list is defined when it has not been yet.
  std::string const& listText( SharedPrefixList const& list, Vell::AddressFamily family ) {
    auto const [known, isNew] = names_.emplace( list.get(), "" );
    if ( !isNew ) return known->second;
    known->second = addressesText( list, userNames_ );
    if ( known->second.empty() ) known->second = "prefix-list " + newName();
    if ( known->second.starts_with( "prefix-list" ) ) define( known->second, *list, family );
    return known->second;
  }

  /// `reference` is what rules write.
  void define( std::string const& reference, PrefixList const& list, Vell::AddressFamily family ) {
    lists_ += std::string( familyKeyword( family ) ) + " " + reference + "\n";
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

std::string ruleText( Rule const& rule, Vell::AddressFamily family, PrefixListNames const& names ) {
  auto const addresses = [&names]( SharedPrefixList const& list ) {
    std::string const text = addressesText( list, names );
    return text.empty() ? "prefix-list ..." : text;
  };
  return RuleText( rule, family, addresses( rule.source ), addresses( rule.destination ) ).text();
}

}  // namespace Orvex::Host
