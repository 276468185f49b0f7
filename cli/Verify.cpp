#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "Inputs.h"
#include "chip/SnapshotReader.h"
#include "packets/PacketJson.h"
#include "verify/Prover.h"
#include "verify/StatedDifferences.h"

namespace Orvex::Cli {

namespace {

using Verify::Outcome;

int exitStatusOf( Outcome outcome ) {
  if ( outcome == Outcome::equal ) return kDone;
  return outcome == Outcome::different ? kAnswerIsNo : kQuestionIsWrong;
}

std::string rangesText( Host::RangeSet const& ranges ) {
  std::string text;
  for ( Host::ValueRange const& range : ranges )
    text += range.first == range.last ? fmt::format( " {}", range.first )
                                      : fmt::format( " {}-{}", range.first, range.last );
  return text;
}

std::string prefixesText( std::vector<Vell::IpGenPrefix> const& prefixes ) {
  std::string text;
  for ( Vell::IpGenPrefix const& prefix : prefixes ) text += fmt::format( " {}", Host::textOf( prefix ) );
  return text;
}

/// What the region restricts: "source 10.0.0.0/8; dport 80-90"
std::string regionText( Verify::Region const& region ) {
  std::string text;
  auto const add = [&text]( std::string_view name, std::string const& values ) {
    text += fmt::format( "{}{}{}", text.empty() ? "" : "; ", name, values );
  };
  auto const restricts = []( Host::RangeSet const& ranges, std::uint32_t maximum ) {
    return ranges != Host::RangeSet{ { 0, maximum } };
  };
  auto const isAny = []( std::vector<Vell::IpGenPrefix> const& prefixes ) {
    return prefixes.size() == 1 && prefixes.front().isDefaultRoute();
  };
  if ( !isAny( region.source ) ) add( "source", prefixesText( region.source ) );
  if ( !isAny( region.destination ) ) add( "destination", prefixesText( region.destination ) );
  for ( Host::Field const field : Host::kFields )
    if ( restricts( region.ranges[field], maximumOf( field ) ) )
      add( Kiv::stringValue( field ), rangesText( region.ranges[field] ) );
  if ( restricts( region.tcpFlags, 255 ) ) add( "tcpFlags", rangesText( region.tcpFlags ) );
  return text.empty() ? "all packets" : text;
}

std::string verdictText( Verify::Verdict const& verdict ) {
  std::string const action = verdict.action.dropEnabled ? "deny" : "permit";
  return verdict.rule ? fmt::format( "{} (rule {})", action, *verdict.rule ) : action + " (no rule)";
}

/// Reading and telling take time too, and an answer is to come within ten seconds.
constexpr Verify::Budget kBudget{ .time = std::chrono::seconds( 8 ) };
constexpr std::size_t kMostStated = 20;

/// What no packet shows, or what a packet has shown once more, by name.
void printStated( std::vector<std::string> const& differences ) {
  for ( std::size_t at = 0; at != std::min( differences.size(), kMostStated ); ++at )
    fmt::print( "different: {}\n", differences[at] );
  if ( differences.size() > kMostStated ) fmt::print( "and {} more\n", grouped( differences.size() - kMostStated ) );
}

int compareTables( VerifyOptions const& options ) {
  Host::Diagnostics diagnostics;
  PolicyOptions policyOptions = options.policy;
  std::string const snapshotPath = policyOptions.files.back();
  policyOptions.files.pop_back();
  auto const located = readPolicy( policyOptions, diagnostics );
  auto const file = Host::SourceFile::read( snapshotPath, diagnostics );
  auto const table = file ? Host::readSnapshot( *file, diagnostics ) : std::nullopt;
  show( diagnostics, options.console );
  if ( !located || !table ) return kQuestionIsWrong;

  auto const proof = Verify::prove( located->policy, *table->snapshot, table->shape, table->defaults, kBudget );
  auto const stated = Verify::statedDifferences( located->policy, *table->snapshot, table->defaults );
  switch ( proof.outcome ) {
    case Outcome::equal:
      if ( !stated.empty() ) {
        fmt::print( "different, though no packet shows it:\n" );
        break;
      }
      fmt::print( "equal: {} with {} are the policy\n", counted( proof.rules, "rule" ),
                  proof.entries == 1 ? "1 entry" : grouped( proof.entries ) + " entries" );
      break;
    case Outcome::different:
      fmt::print( "different: {}\n", proof.witness ? textOf( *proof.witness ) : proof.reason );
      if ( proof.witness ) fmt::print( "{}\n", Host::packetJson( proof.witness->acl, proof.witness->packet ) );
      break;
    case Outcome::undecided:
      showError( "undecided: " + proof.reason, options.console );
      break;
  }
  printStated( stated );
  return stated.empty() ? exitStatusOf( proof.outcome ) : kAnswerIsNo;
}

int comparePolicies( VerifyOptions const& options ) {
  if ( options.policy.files.size() != 2 ) {
    showError( "--equal compares two policies, each in one file", options.console );
    return kQuestionIsWrong;
  }
  Host::Diagnostics diagnostics;
  PolicyOptions each = options.policy;
  each.files = { options.policy.files[0] };
  auto const a = readPolicy( each, diagnostics );
  each.files = { options.policy.files[1] };
  Host::Diagnostics diagnosticsOfOther;
  auto const b = readPolicy( each, diagnosticsOfOther );
  show( diagnostics, options.console );
  show( diagnosticsOfOther, options.console );
  if ( !a || !b ) return kQuestionIsWrong;

  auto const comparison = Verify::equal( a->policy, b->policy, kBudget );
  if ( comparison.outcome == Outcome::undecided ) showError( "undecided: " + comparison.reason, options.console );
  if ( comparison.outcome == Outcome::equal ) fmt::print( "equal\n" );
  if ( comparison.outcome == Outcome::different && !comparison.reason.empty() )
    fmt::print( "different: {}\n", comparison.reason );
  for ( Verify::Disagreement const& difference : comparison.disagreements )
    fmt::print( "different: {} ACL {}: the first says {}, the second {}\n  for {}\n  as for {}\n",
                Kiv::stringValue( difference.family ), difference.acl, verdictText( difference.a ),
                verdictText( difference.b ), regionText( difference.region ),
                Host::packetJson( difference.acl, difference.packet ) );
  return exitStatusOf( comparison.outcome );
}

}  // namespace

int verify( VerifyOptions const& options ) {
  if ( options.equal ) return comparePolicies( options );
  if ( options.policy.files.size() >= 2 ) return compareTables( options );
  showError( "verify takes a policy and a snapshot", options.console );
  return kQuestionIsWrong;
}

}  // namespace Orvex::Cli
