#include "ProvedTable.h"

#include <algorithm>

#include "RandomProfile.h"
#include "packets/BoundaryPackets.h"
#include "packets/PacketJson.h"
#include "policy/AclConfigBuilder.h"
#include "verify/Interpreter.h"

namespace Orvex::Soak {

namespace {

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

bool isLoaded( Host::ProvedResult const& result, Host::Policy const& policy, Host::ChipProfile const& profile ) {
  if ( result.compile.outcome != Host::CompileOutcome::loaded ) {
    if ( !shortageOf( result.compile ) ) throw Failure( "not loaded: " + result.compile.message, policy, profile );
    return false;
  }
  if ( !result.proof.isProved() ) throw Failure( "loaded without a proof", policy, profile );
  return true;
}

void loadProved( Host::Policy const& policy, Host::SoftwareChip& chip ) {
  auto const result = Host::compileProved( policy, chip );
  if ( !isLoaded( result, policy, chip.profile() ) )
    throw Failure( "not loaded: " + result.compile.message, policy, chip.profile() );
}

ProvedTable provedTable( Host::Policy const& policy, Case& one ) {
  for ( int left = kMostChips; left != 0; --left ) {
    Host::ChipProfile const profile =
        left == 1 ? Host::Test::widestProfile( one.random ) : Host::Test::randomProfile( one.random );
    ProvedTable table{ std::make_unique<Host::SoftwareChip>( kSoakChip, profile ), nullptr };
    auto const result = Host::compileProved( policy, *table.chip );
    if ( isLoaded( result, policy, profile ) ) {
      table.snapshot = result.compile.snapshot;
      one.tally.add( "rules proved", result.proof.rules );
      one.tally.add( "rules proved by boxes", result.proof.rulesByBoxes );
      one.tally.add( "entries proved", result.proof.entries );
      return table;
    }
    if ( left == 1 ) throw Failure( "not loaded: " + result.compile.message, policy, profile );
    one.tally.add( "refused for want of " + *shortageOf( result.compile ) );
  }
  throw std::logic_error( "the last chip neither took nor refused the policy" );
}

AskedChip::AskedChip( Host::SoftwareChip const& chip, Host::Policy const& policy, Host::Acl const& acl )
    : chip_( chip ), policy_( policy ), acl_( acl ), key_( acl.family, Host::libraryAclName( acl.family, acl.name ) ) {}

Verify::Verdict AskedChip::verdict( Verify::Packet const& packet ) const {
  Verify::Verdict const want = interpret( acl_, packet );
  Verify::Verdict const have = chip_.lookUp( key_, packet );
  if ( want != have )
    throw Failure( "packet " + Host::packetJson( acl_.name, packet ) + ": the policy says " +
                       Host::verdictJson( want ) + ", the chip " + Host::verdictJson( have ),
                   policy_, chip_.profile() );
  return want;
}

void askAboutBoundaries( Host::SoftwareChip const& chip, Host::Policy const& policy, std::uint64_t packetsAnAcl,
                         Random& random ) {
  for ( Host::Acl const& acl : policy.acls ) {
    AskedChip const asked( chip, policy, acl );
    Host::BoundaryPackets packets( random, acl );
    for ( std::uint64_t left = packetsAnAcl; left != 0; --left ) asked.verdict( packets.next() );
  }
}

}  // namespace Orvex::Soak
