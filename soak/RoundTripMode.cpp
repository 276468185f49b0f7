#include <array>
#include <optional>
#include <string>
#include <utility>

#include "Modes.h"
#include "PlainPolicy.h"
#include "ProvedTable.h"
#include "RandomPolicy.h"
#include "chip/SnapshotJson.h"
#include "chip/SnapshotReader.h"
#include "formats/ClassbenchWriter.h"
#include "formats/OpenConfigReader.h"
#include "formats/OpenConfigWriter.h"
#include "formats/Rfc8519Reader.h"
#include "formats/Rfc8519Writer.h"
#include "policy/AclConfigBuilder.h"
#include "policy/AclTextReader.h"
#include "policy/AclTextWriter.h"
#include "policy/ClassbenchReader.h"
#include "policy/Normalise.h"
#include "verify/BoxEngine.h"

namespace Orvex::Soak {

namespace {

using Host::Acl;
using Host::ClassbenchAction;
using Host::Diagnostics;
using Host::LocatedPolicy;
using Host::Policy;
using Host::Rule;

[[noreturn]] void fail( std::string const& problem, Policy const& policy, std::string const& text ) {
  throw std::runtime_error( problem + "\npolicy:\n" + Host::aclText( policy ) + "\nas it was written:\n" + text );
}

// Formats of others

/// A format that policies go to and come back from.
struct Format {
  std::string name;
  std::optional<std::string> ( *write )( LocatedPolicy const&, Diagnostics& );
  std::optional<LocatedPolicy> ( *read )( std::shared_ptr<Host::SourceFile const> const&, ClassbenchAction,
                                          Diagnostics& );
  /// Whether rules' names come back.
  bool hasNames;
};

template <auto read>
std::optional<LocatedPolicy> readJson( std::shared_ptr<Host::SourceFile const> const& file, ClassbenchAction,
                                       Diagnostics& diagnostics ) {
  auto document = readInstanceDocument( file, diagnostics );
  if ( !document ) return std::nullopt;
  std::array const documents = { std::move( *document ) };
  return read( documents, Host::Unsupported::isError, diagnostics );
}

std::optional<LocatedPolicy> readFilters( std::shared_ptr<Host::SourceFile const> const& file, ClassbenchAction action,
                                          Diagnostics& diagnostics ) {
  return readClassbench( std::array{ file }, { action, Host::ClassbenchFlags::honour }, diagnostics );
}

Format const kRfc8519 = { "RFC 8519", Host::rfc8519Text, readJson<Host::readRfc8519>, true };
Format const kOpenConfig = { "OpenConfig", Host::openConfigText, readJson<Host::readOpenConfig>, true };
Format const kClassbench = { "ClassBench", Host::classbenchText, readFilters, false };

/// Nothing when the format cannot hold the policy; its reasons are then counted.
std::optional<std::string> written( Format const& format, LocatedPolicy const& located, Tally& reasons ) {
  Diagnostics diagnostics;
  auto text = format.write( located, diagnostics );
  if ( !text && !diagnostics.failed() ) fail( format.name + " is refused without a reason", located.policy, "" );
  for ( auto const& each : diagnostics.sorted() )
    if ( each.severity == Host::Severity::error )
      reasons.add( "not held whole: " + each.problem.substr( 0, each.problem.find( ": " ) ) );
  return text;
}

bool canHold( Format const& format, Acl acl, Rule const& rule ) {
  acl.rules = { rule };
  Tally notCounted;
  return written( format, { normalised( Policy{ { std::move( acl ) } } ), {}, {} }, notCounted ).has_value();
}

/// One ACL, of rules that do what their places say.
void makeFilterSet( Policy& policy, ClassbenchAction action ) {
  policy.acls.resize( 1 );
  Acl& acl = policy.acls.front();
  acl.name = "acl0";
  if ( action != ClassbenchAction::permit ) acl.defaultAction = Host::DefaultAction::deny;
  bool permits = action != ClassbenchAction::deny;
  for ( Rule& rule : acl.rules ) {
    rule.name = std::to_string( rule.index );  // names go out as comments
    rule.action = actionOf( permits ? Host::DefaultAction::permit : Host::DefaultAction::deny );
    if ( action == ClassbenchAction::alternate ) permits = !permits;
  }
}

/// What the format can hold of the policy, rule by rule.
Policy heldPart( Format const& format, Policy policy, ClassbenchAction action ) {
  bool const isFilterSet = format.name == kClassbench.name;
  if ( isFilterSet ) makeFilterSet( policy, ClassbenchAction::permit );
  for ( Acl& acl : policy.acls )
    std::erase_if( acl.rules, [&]( Rule const& rule ) { return !canHold( format, acl, rule ); } );
  if ( isFilterSet ) makeFilterSet( policy, action );
  return normalised( std::move( policy ) );
}

void checkWhatCameBack( Format const& format, Policy const& policy, Policy const& back, std::string const& text ) {
  auto const comparison = Verify::equal( policy, back );
  if ( comparison.outcome != Verify::Outcome::equal )
    fail( "what comes back from " + format.name + " means something else " + comparison.reason, policy, text );
  for ( std::size_t at = 0; at != policy.acls.size(); ++at ) {
    auto const& rules = policy.acls[at].rules;
    auto const& rulesBack = back.acls.at( at ).rules;
    // A default of permit has become a rule.
    std::size_t const closing = policy.acls[at].defaultAction == Host::DefaultAction::permit ? 1 : 0;
    if ( rules.size() + closing != rulesBack.size() ) fail( format.name + " has split or lost a rule", policy, text );
    for ( std::size_t rule = 0; format.hasNames && rule != rules.size(); ++rule )
      if ( rules[rule].name != rulesBack[rule].name ) fail( format.name + " has lost a rule's name", policy, text );
  }
}

std::size_t ruleCount( Policy const& policy ) {
  std::size_t count = 0;
  for ( Acl const& acl : policy.acls ) count += acl.rules.size();
  return count;
}

/// Rules that the format can hold alone it holds together; what comes back does the same to every packet; and what would
/// be written then is what has been written.
void checkFormat( Format const& format, Policy const& whole, ClassbenchAction action, Tally& tally ) {
  bool const heldWhole = written( format, { whole, {}, {} }, tally ).has_value();
  Policy const policy = heldWhole ? whole : heldPart( format, whole, action );
  if ( ruleCount( policy ) == 0 ) return tally.add( "skipped, no rule held: " + format.name );
  Diagnostics diagnostics;
  auto const text = format.write( { policy, {}, {} }, diagnostics );
  if ( !text && diagnostics.text().find( "no number left" ) != std::string::npos )
    return tally.add( "skipped, no number left for the default: " + format.name );
  if ( !text ) fail( format.name + " holds the rules alone and not together: " + diagnostics.text(), policy, "" );
  auto const file = Host::SourceFile::fromText( "acl0.txt", *text, diagnostics );
  auto const back = format.read( file, action, diagnostics );
  if ( !back ) fail( format.name + " is not read back: " + diagnostics.text(), policy, *text );
  checkWhatCameBack( format, policy, back->policy, *text );
  if ( format.write( *back, diagnostics ) != text ) fail( format.name + " is written differently", policy, *text );
  tally.add( ( heldWhole ? "brought back: " : "brought back in part: " ) + format.name );
  tally.add( "rules brought back: " + format.name, ruleCount( policy ) );
  tally.add( "rules left out: " + format.name, ruleCount( whole ) - ruleCount( policy ) );
}

// Forms of our own

void checkAclText( Policy policy, Tally& tally ) {
  for ( Acl& acl : policy.acls )
    for ( Rule& rule : acl.rules )
      if ( std::exchange( rule.tcpEstablished, rule.tcpEstablished && !rule.tcpInit ) != rule.tcpEstablished )
        tally.add( "rules with both init and established, written with init" );
  std::string const text = Host::aclText( policy );
  Diagnostics diagnostics;
  auto const back = readAclText( { Host::SourceFile::fromText( "edge.acl", text, diagnostics ) }, diagnostics );
  if ( !back ) fail( "ACL text is not read back: " + diagnostics.text(), policy, text );
  if ( back->policy != policy ) fail( "what comes back from ACL text is another policy", policy, text );
  if ( aclText( back->policy, back->listNames ) != text ) fail( "ACL text is written differently", policy, text );
  tally.add( "brought back: ACL text" );
}

std::string snapshotText( PDData const& snapshot, Policy const& policy, Verify::TableShape const& shape ) {
  std::string text;
  writeSnapshotJson( snapshot, policy, shape, kSoakChip, [&text]( std::string_view piece ) { text += piece; } );
  return text;
}

void checkSnapshot( Policy const& policy, Case& one ) {
  ProvedTable const table = provedTable( policy, one );
  std::string const text = snapshotText( *table.snapshot, policy, shapeOf( table.chip->profile() ) );
  Diagnostics diagnostics;
  auto const back = readSnapshot( *Host::SourceFile::fromText( "edge.json", text, diagnostics ), diagnostics );
  if ( !back ) fail( "the snapshot is not read back: " + diagnostics.text(), policy, text );
  auto const proof = prove( policy, *back->snapshot, back->shape, back->defaults );
  if ( !proof.isProved() )
    fail( "the snapshot read back is not the policy: " + ( proof.witness ? textOf( *proof.witness ) : proof.reason ),
          policy, text );
  if ( snapshotText( *back->snapshot, policy, back->shape ) != text )
    fail( "the snapshot is written differently", policy, text );
  one.tally.add( "brought back: snapshot JSON, and proved" );
}

}  // namespace

void roundTripCase( Case& one ) {
  static constexpr std::array kActions = { ClassbenchAction::permit, ClassbenchAction::deny,
                                           ClassbenchAction::alternate };
  switch ( one.number % 5 ) {
    case 0:
      return checkAclText( Host::Test::randomPolicy( one.random ), one.tally );
    case 1:
      return checkSnapshot( Host::Test::randomPolicy( one.random ), one );
    case 2:
      return checkFormat( kRfc8519, normalised( Host::Test::plainPolicy( one.random ) ), {}, one.tally );
    case 3:
      return checkFormat( kOpenConfig, normalised( Host::Test::plainPolicy( one.random ) ), {}, one.tally );
    default:
      return checkFormat( kClassbench, normalised( Host::Test::plainPolicy( one.random ) ),
                          kActions[one.random.below( kActions.size() )], one.tally );
  }
}

}  // namespace Orvex::Soak
