#include "ProvedTable.h"

#include <algorithm>

#include "RandomProfile.h"

namespace Orvex::Soak {

namespace {

constexpr Brae::ChipId kChip( 1 );
constexpr int kMostChips = 6;

}  // namespace

std::optional<std::string> shortageOf( Host::CompileResult const& result ) {
  bool const failed = result.outcome == Host::CompileOutcome::failed;
  if ( !result.shortages.empty() ) return "room";
  if ( failed && std::any_of( result.labels.begin(), result.labels.end(),
                              []( auto const& labels ) { return labels.needed > labels.available; } ) )
    return "labels";
  if ( failed && result.message.find( "are allowed" ) != std::string::npos ) return "products";
  return std::nullopt;
}

ProvedTable provedTable( Host::Policy const& policy, Case& one ) {
  for ( int left = kMostChips; left != 0; --left ) {
    Host::ChipProfile const profile =
        left == 1 ? Host::Test::widestProfile( one.random ) : Host::Test::randomProfile( one.random );
    ProvedTable table{ std::make_unique<Host::SoftwareChip>( kChip, profile ), nullptr };
    auto const result = Host::compileProved( policy, *table.chip );
    if ( result.compile.outcome == Host::CompileOutcome::loaded ) {
      if ( !result.proof.isProved() ) throw Failure( "loaded without a proof", policy, profile );
      table.snapshot = result.compile.snapshot;
      one.tally.add( "rules proved", result.proof.rules );
      one.tally.add( "rules proved by boxes", result.proof.rulesByBoxes );
      one.tally.add( "entries proved", result.proof.entries );
      return table;
    }
    auto const shortage = shortageOf( result.compile );
    if ( !shortage || left == 1 ) throw Failure( "not loaded: " + result.compile.message, policy, profile );
    one.tally.add( "refused for want of " + *shortage );
  }
  throw std::logic_error( "the last chip neither took nor refused the policy" );
}

}  // namespace Orvex::Soak
