#include "formats/Rfc8519Reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <string>
#include <utility>

#include "formats/InstanceValues.h"
#include "formats/Rfc8519Matches.h"
#include "input/NearestWord.h"
#include "policy/AclRules.h"

namespace Orvex::Host {

namespace {

constexpr std::string_view kModule = "ietf-access-control-list";
constexpr std::string_view kName[] = { "name" };

constexpr InstanceMember kAcls[] = { { "acl" }, { "attachment-points" } };
constexpr InstanceMember kAclList[] = { { "name" }, { "type" }, { "aces" } };
constexpr InstanceMember kAces[] = { { "ace" } };
constexpr InstanceMember kAce[] = { { "name" }, { "matches" }, { "actions" }, { "statistics" } };
constexpr InstanceMember kActions[] = { { "forwarding" }, { "logging" } };
constexpr InstanceMember kStatistics[] = { { "name" }, { "matched-packets" }, { "matched-octets" } };

constexpr InstanceMember kAttachmentPoints[] = { { "interface" } };
constexpr InstanceMember kInterface[] = { { "interface-id" }, { "ingress" }, { "egress" } };
constexpr InstanceMember kDirection[] = { { "acl-sets" } };
constexpr InstanceMember kAclSets[] = { { "acl-set" } };
constexpr InstanceMember kAclSet[] = { { "name" }, { "ace-statistics" } };

enum Forwarding : std::uint32_t { kAccept, kDrop, kReject };
constexpr NamedNumber kForwardingNames[] = { { "accept", kAccept }, { "drop", kDrop }, { "reject", kReject } };
constexpr Identities kForwardings{ kModule, "forwarding action", kForwardingNames };

enum Logging : std::uint32_t { kLogNone, kLogSyslog };
constexpr NamedNumber kLoggingNames[] = { { "log-syslog", kLogSyslog }, { "log-none", kLogNone } };
constexpr Identities kLoggings{ kModule, "logging action", kLoggingNames };

void readActions( InstanceNode const& actions, OrvexActionValue& action ) {
  if ( !actions.isObject( kActions ) ) return;
  auto const forwarding = actions.required( "forwarding" );
  auto const kind = forwarding ? readIdentity( *forwarding, kForwardings ) : std::nullopt;
  if ( kind == kReject ) forwarding->unsupported( "a table drops packets and does not answer their senders" );
  action.dropEnabled = kind == kDrop;
  auto const logging = actions.member( "logging" );
  action.logEnabled = logging && readIdentity( *logging, kLoggings ) == kLogSyslog;
}

/// The rule's number that a name is; none for other names.
std::optional<std::uint32_t> numberIn( std::string const& name ) {
  std::uint32_t number = 0;
  auto const [end, error] = std::from_chars( name.data(), name.data() + name.size(), number );
  bool const isNumber = error == std::errc() && end == name.data() + name.size() && number <= kMaxRuleNumber;
  return isNumber && name == std::to_string( number ) ? std::optional( number ) : std::nullopt;
}

/// By their names, if all of them are ascending numbers.
void numberRules( std::vector<Rule>& rules ) {
  std::vector<std::uint32_t> numbers;
  for ( Rule const& rule : rules )
    if ( auto const number = numberIn( rule.name ); number && ( numbers.empty() || *number > numbers.back() ) )
      numbers.push_back( *number );
  bool const areNumbers = numbers.size() == rules.size();
  for ( std::size_t at = 0; at != rules.size(); ++at )
    rules[at].index = areNumbers ? numbers[at] : static_cast<std::uint32_t>( 10 * ( at + 1 ) );
}

class Reader {
 public:
  Reader( Unsupported unsupported, Diagnostics& diagnostics )
      : unsupported_( unsupported ), diagnostics_( diagnostics ) {}

  void read( InstanceDocument const& document ) {
    static constexpr std::array kTop = { kRfc8519Acls };
    InstanceReport report( *document.file, unsupported_, diagnostics_ );
    InstanceNode const root( document.root, report );
    if ( !hasTopMember( root, kTop ) ) return;
    auto const acls = root.member( kRfc8519Acls );
    if ( !acls || !acls->isObject( kAcls ) ) return;
    if ( auto const list = acls->member( "acl" ) )
      for ( InstanceNode const& acl : list->entries( kName ) )
        if ( !diagnostics_.tooManyErrors() ) readAcl( acl );
    if ( auto const points = acls->member( "attachment-points" ) ) readAttachmentPoints( *points );
  }

  LocatedPolicy takeResult() { return std::move( result_ ); }

 private:
  void readAcl( InstanceNode const& node ) {
    InstanceReport& report = node.report();
    report.aclBegins();
    if ( node.isObject( kAclList ) ) {
      Acl acl;
      PolicyPlaces::OfAcl places{ node.place(), {} };
      if ( auto const name = node.member( "name" ) ) {
        acl.name = readShortName( *name ).value_or( "" );
        places.acl = name->place();
        names_.insert( acl.name );
      }
      Rfc8519AclType const type = typeOf( node );
      acl.family = type.family();
      if ( auto const aces = node.member( "aces" ); aces && aces->isObject( kAces ) )
        if ( auto const list = aces->member( "ace" ) ) readAces( *list, type, acl, places );
      if ( report.aclEnds( node ) ) add( std::move( acl ), std::move( places ) );
      return;
    }
    report.aclEnds( node );
  }

  static Rfc8519AclType typeOf( InstanceNode const& acl ) {
    auto const leaf = acl.member( "type" );
    auto const type = leaf ? readAclType( *leaf ) : std::nullopt;
    if ( !leaf )
      acl.error( "this ACL has no type",
                 R"(a table has ACLs of one family: add "type": "ipv4-acl-type" or "ipv6-acl-type")" );
    else if ( type && !type->isOneFamily() )
      leaf->unsupported( "a table has ACLs of IPv4 or of IPv6 alone" );
    // Where the type is not known, no match is at fault for not fitting it.
    return type ? *type : Rfc8519AclType{ "", true, true, true };
  }

  void readAces( InstanceNode const& list, Rfc8519AclType const& type, Acl& acl, PolicyPlaces::OfAcl& places ) {
    for ( InstanceNode const& ace : list.entries( kName ) ) {
      if ( diagnostics_.tooManyErrors() ) break;
      if ( !ace.isObject( kAce ) ) continue;
      Rule rule;
      Place place = ace.place();
      if ( auto const name = ace.member( "name" ) ) {
        rule.name = readShortName( *name ).value_or( "" );
        place = name->place();
      }
      if ( auto const matches = ace.member( "matches" ) ) readMatches( *matches, type, rule );
      if ( auto const actions = ace.required( "actions" ) ) readActions( *actions, rule.action );
      readStatistics( ace, "statistics" );
      places.rules.push_back( { 0, std::move( place ) } );
      acl.rules.push_back( std::move( rule ) );
    }
    numberRules( acl.rules );
    for ( std::size_t at = 0; at != acl.rules.size(); ++at ) places.rules[at].index = acl.rules[at].index;
  }

  static void readStatistics( InstanceNode const& parent, std::string_view name ) {
    auto const statistics = parent.member( name );
    if ( statistics && statistics->isObject( kStatistics ) ) checkCounters( *statistics );
  }

  void add( Acl acl, PolicyPlaces::OfAcl places ) {
    result_.places.aclIs( acl.family, acl.name, std::move( places ) );
    result_.policy.acls.push_back( std::move( acl ) );
  }

  // Attachment points

  void readAttachmentPoints( InstanceNode const& points ) {
    static constexpr std::string_view kInterfaceId[] = { "interface-id" };
    if ( !points.isObject( kAttachmentPoints ) ) return;
    auto const list = points.member( "interface" );
    if ( !list ) return;
    for ( InstanceNode const& interface : list->entries( kInterfaceId ) ) {
      if ( !interface.isObject( kInterface ) ) continue;
      if ( auto const ingress = interface.member( "ingress" ) ) readAclSets( *ingress );
      if ( auto const egress = interface.member( "egress" ) ) readAclSets( *egress );
    }
    diagnostics_.note( points.place(), points.path() + ": attachment points are not part of the policy" );
  }

  void readAclSets( InstanceNode const& direction ) {
    if ( !direction.isObject( kDirection ) ) return;
    auto const sets = direction.member( "acl-sets" );
    auto const list = sets && sets->isObject( kAclSets ) ? sets->member( "acl-set" ) : std::nullopt;
    if ( !list ) return;
    for ( InstanceNode const& set : list->entries( kName ) ) {
      if ( !set.isObject( kAclSet ) ) continue;
      if ( auto const name = set.member( "name" ) ) checkIsAcl( *name );
      if ( auto const statistics = set.member( "ace-statistics" ) )
        for ( InstanceNode const& each : statistics->entries( kName ) )
          if ( each.isObject( kStatistics ) ) checkCounters( each );
    }
  }

  void checkIsAcl( InstanceNode const& leaf ) {
    auto const name = readText( leaf );
    if ( !name || names_.contains( *name ) ) return;
    NearestWord nearest( *name );
    for ( std::string const& each : names_ ) nearest.consider( each );
    leaf.error( "there is no ACL " + inQuotes( *name ), nearest.question() );
  }

  Unsupported unsupported_;
  Diagnostics& diagnostics_;
  LocatedPolicy result_;
  std::set<std::string> names_;  // of all ACLs, also of those that are skipped
};

}  // namespace

std::optional<LocatedPolicy> readRfc8519( std::span<InstanceDocument const> documents, Unsupported unsupported,
                                          Diagnostics& diagnostics ) {
  Reader reader( unsupported, diagnostics );
  for ( InstanceDocument const& document : documents ) reader.read( document );
  return finishedPolicy( reader.takeResult(), documents, diagnostics );
}

}  // namespace Orvex::Host
