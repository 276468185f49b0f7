#include "formats/OpenConfigReader.h"

#include <algorithm>
#include <array>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "formats/InstanceValues.h"
#include "formats/OpenConfigEntry.h"
#include "formats/OpenConfigKeys.h"
#include "formats/OpenConfigSets.h"
#include "input/NearestWord.h"
#include "policy/AclRules.h"

namespace Orvex::Host {

namespace {

constexpr std::string_view kSequenceId[] = { "sequence-id" };
constexpr std::string_view kNameAndType[] = { "name", "type" };

constexpr InstanceMember kAcl[] = {
    { "config", Take::leaveOut }, { "state", Take::leaveOut }, { "acl-sets" }, { "interfaces" } };
constexpr InstanceMember kAclSets[] = { { "acl-set" } };
constexpr InstanceMember kAclSet[] = {
    { "name" }, { "type" }, { "config" }, { "state", Take::leaveOut }, { "acl-entries" } };
constexpr InstanceMember kAclSetConfig[] = { { "name" }, { "type" }, { "description", Take::leaveOut } };
constexpr InstanceMember kAclEntries[] = { { "acl-entry" } };
constexpr InstanceMember kEntryConfig[] = { { "sequence-id" }, { "description" } };

constexpr InstanceMember kInterfaces[] = { { "interface" } };
constexpr InstanceMember kInterface[] = { { "id" },
                                          { "config" },
                                          { "state", Take::leaveOut },
                                          { "interface-ref", Take::leaveOut },
                                          { "ingress-acl-sets" },
                                          { "egress-acl-sets" } };
constexpr InstanceMember kInterfaceConfig[] = { { "id" } };

enum AclType : std::uint32_t { kAclIpv4, kAclIpv6, kAclL2, kAclMixed, kAclMpls };
constexpr NamedNumber kAclTypeNames[] = { { "ACL_IPV4", kAclIpv4 },
                                          { "ACL_IPV6", kAclIpv6 },
                                          { "ACL_L2", kAclL2 },
                                          { "ACL_MIXED", kAclMixed },
                                          { "ACL_MPLS", kAclMpls } };
constexpr Identities kAclTypes{ "openconfig-acl", "ACL type", kAclTypeNames };

OpenConfigAclType headersOf( std::uint32_t type ) {
  return { type == kAclIpv4 || type == kAclMixed, type == kAclIpv6 || type == kAclMixed,
           type == kAclL2 || type == kAclMixed, type == kAclMpls };
}

/// Descriptions that serve as names: no other rule of the ACL has them, or has them as its number.
void nameRules( std::vector<Rule>& rules ) {
  std::map<std::string, std::size_t> uses;
  for ( Rule const& rule : rules ) ++uses[rule.name];
  for ( Rule& rule : rules ) {
    bool const isNumber = rule.name.find_first_not_of( "0123456789" ) == std::string::npos;
    auto const isControl = []( char each ) { return static_cast<unsigned char>( each ) < 0x20 || each == 0x7F; };
    if ( isNumber || uses[rule.name] > 1 || std::any_of( rule.name.begin(), rule.name.end(), isControl ) )
      rule.name.clear();
  }
}

class Reader {
 public:
  Reader( Unsupported unsupported, Diagnostics& diagnostics )
      : unsupported_( unsupported ), diagnostics_( diagnostics ) {}

  void read( std::span<InstanceDocument const> documents ) {
    static constexpr std::array kTop = { kOpenConfigAcl, kOpenConfigSets };
    std::deque<InstanceReport> reports;
    std::deque<InstanceNode> roots;
    for ( InstanceDocument const& each : documents ) {
      roots.emplace_back( each.root, reports.emplace_back( *each.file, unsupported_, diagnostics_ ) );
      if ( !hasTopMember( roots.back(), kTop ) ) continue;
      if ( auto const sets = roots.back().member( kOpenConfigSets ) ) sets_.read( *sets );
    }
    for ( InstanceNode const& root : roots )
      if ( auto const acl = root.member( kOpenConfigAcl ); acl && acl->isObject( kAcl ) ) readAclSets( *acl );
    for ( InstanceNode const& root : roots )
      if ( auto const acl = root.member( kOpenConfigAcl ) )
        if ( auto const interfaces = acl->member( "interfaces" ) ) readInterfaces( *interfaces );
  }

  LocatedPolicy takeResult() {
    result_.listNames = sets_.names();
    return std::move( result_ );
  }

 private:
  void readAclSets( InstanceNode const& acl ) {
    auto const sets = acl.member( "acl-sets" );
    auto const list = sets && sets->isObject( kAclSets ) ? sets->member( "acl-set" ) : std::nullopt;
    if ( !list ) return;
    for ( InstanceNode const& set : list->entries( kNameAndType ) ) {
      if ( diagnostics_.tooManyErrors() ) return;
      InstanceReport& report = set.report();
      report.aclBegins();
      Acl read;
      PolicyPlaces::OfAcl places;
      readAclSet( set, read, places );
      if ( !report.aclEnds( set ) ) continue;
      result_.places.aclIs( read.family, read.name, std::move( places ) );
      result_.policy.acls.push_back( std::move( read ) );
    }
  }

  void readAclSet( InstanceNode const& set, Acl& acl, PolicyPlaces::OfAcl& places ) {
    places.acl = set.place();
    if ( !set.isObject( kAclSet ) ) return;
    configOf( set, kNameAndType, kAclSetConfig );
    if ( auto const name = set.member( "name" ) ) {
      acl.name = readText( *name ).value_or( "" );
      places.acl = name->place();
      names_.insert( acl.name );
    }
    auto const typeLeaf = set.member( "type" );
    auto const kind = typeLeaf ? readIdentity( *typeLeaf, kAclTypes ) : std::nullopt;
    // Where the type is not known, no header is at fault for not fitting it.
    OpenConfigAclType const type = kind ? headersOf( *kind ) : OpenConfigAclType{ true, true, true, true };
    if ( kind && !type.isOneFamily() ) typeLeaf->unsupported( "a table has ACLs of IPv4 or of IPv6 alone" );
    acl.family = type.family();
    auto const entries = set.member( "acl-entries" );
    auto const list = entries && entries->isObject( kAclEntries ) ? entries->member( "acl-entry" ) : std::nullopt;
    if ( !list ) return;
    for ( InstanceNode const& entry : list->entries( kSequenceId ) )
      if ( !diagnostics_.tooManyErrors() ) readEntry( entry, type, acl, places );
    nameRules( acl.rules );
  }

  void readEntry( InstanceNode const& entry, OpenConfigAclType const& type, Acl& acl, PolicyPlaces::OfAcl& places ) {
    Rule rule;
    Place place = entry.place();
    if ( auto const id = entry.member( "sequence-id" ) ) {
      rule.index = readNumber( *id, 0, kMaxRuleNumber ).value_or( 0 );
      place = id->place();
    }
    auto const config = configOf( entry, kSequenceId, kEntryConfig );
    auto const description = config ? config->member( "description" ) : std::nullopt;
    if ( description ) rule.name = readText( *description ).value_or( "" );
    readOpenConfigEntry( entry, type, sets_, rule );
    places.rules.push_back( { rule.index, std::move( place ) } );
    acl.rules.push_back( std::move( rule ) );
  }

  // Interfaces

  struct Side {
    std::string_view sets;
    std::string_view set;
    std::array<InstanceMember, 1> members;
  };

  void readInterfaces( InstanceNode const& interfaces ) {
    static constexpr std::string_view kId[] = { "id" };
    static constexpr Side kIngress{ "ingress-acl-sets", "ingress-acl-set", { { { "ingress-acl-set" } } } };
    static constexpr Side kEgress{ "egress-acl-sets", "egress-acl-set", { { { "egress-acl-set" } } } };
    if ( !interfaces.isObject( kInterfaces ) ) return;
    auto const list = interfaces.member( "interface" );
    if ( !list ) return;
    for ( InstanceNode const& each : list->entries( kId ) ) {
      if ( !each.isObject( kInterface ) ) continue;
      configOf( each, kId, kInterfaceConfig );
      readAttached( each, kIngress );
      readAttached( each, kEgress );
    }
    diagnostics_.note( interfaces.place(), interfaces.path() + ": interfaces are not part of the policy" );
  }

  void readAttached( InstanceNode const& interface, Side const& side ) {
    static constexpr std::string_view kSetNameAndType[] = { "set-name", "type" };
    static constexpr InstanceMember kAttached[] = {
        { "set-name" }, { "type" }, { "config" }, { "state", Take::leaveOut }, { "acl-entries", Take::leaveOut } };
    static constexpr InstanceMember kAttachedConfig[] = { { "set-name" }, { "type" } };
    auto const sets = interface.member( side.sets );
    auto const list = sets && sets->isObject( side.members ) ? sets->member( side.set ) : std::nullopt;
    if ( !list ) return;
    for ( InstanceNode const& each : list->entries( kSetNameAndType ) ) {
      if ( !each.isObject( kAttached ) ) continue;
      configOf( each, kSetNameAndType, kAttachedConfig );
      auto const leaf = each.member( "set-name" );
      auto const name = leaf ? readText( *leaf ) : std::nullopt;
      if ( !name || names_.contains( *name ) ) continue;
      NearestWord nearest( *name );
      for ( std::string const& known : names_ ) nearest.consider( known );
      leaf->error( "there is no ACL " + inQuotes( *name ), nearest.question() );
    }
  }

  Unsupported unsupported_;
  Diagnostics& diagnostics_;
  OpenConfigSets sets_;
  LocatedPolicy result_;
  std::set<std::string> names_;  // of all ACLs, also of those that are skipped
};

}  // namespace

std::optional<LocatedPolicy> readOpenConfig( std::span<InstanceDocument const> documents, Unsupported unsupported,
                                             Diagnostics& diagnostics ) {
  Reader reader( unsupported, diagnostics );
  reader.read( documents );
  return finishedPolicy( reader.takeResult(), documents, diagnostics );
}

}  // namespace Orvex::Host
