#include <iostream>
#include <vector>

#include "chip/SoftwareChip.h"
#include "compare/children/Facts.h"
#include "compare/children/Roles.h"
#include "packets/BoundaryPackets.h"
#include "pipeline/Compile.h"
#include "policy/AclConfigBuilder.h"

namespace Orvex::Bench {

namespace {

constexpr std::size_t kPackets = 100000;
constexpr std::size_t kTurns = 10;

Host::ChipProfile profile() {
  Host::ChipProfile profile;
  profile.name = "compare";
  for ( PrefixXformKey const space : Host::kPrefixSpaces ) profile.prefix( space ).widthBits = EncodingAttr::kMaxWidth;
  for ( Host::Field const field : { Host::Field::sport, Host::Field::dport } )
    profile.ranges[field].widthBits = EncodingAttr::kMaxWidth;
  for ( Host::Resource const resource : Host::kResources ) profile.capacities[resource] = Host::kUnlimited;
  profile.labelPlacement = LabelPlacement::nested;
  return profile;
}

}  // namespace

bool lookUp( Host::Policy const& policy ) {
  Host::SoftwareChip chip( Brae::ChipId( 0 ), profile() );
  if ( auto const result = Host::compile( policy, chip ); result.outcome != Host::CompileOutcome::loaded ) {
    std::cerr << result.message << "\n";
    return false;
  }
  Host::Acl const& rules = policy.acls.front();
  Host::ChipTable::Acl& acl =
      *chip.table()->acl( PDAclKey( rules.family, Host::libraryAclName( rules.family, rules.name ) ) );
  Random random( 1 );
  Host::BoundaryPackets source( random, rules );
  std::vector<Verify::Packet> packets;
  while ( packets.size() != kPackets ) packets.push_back( source.next() );
  chip.table()->lookUp( acl, packets.front() );  // builds the index
  Stopwatch const stopwatch;
  for ( std::size_t turn = 0; turn != kTurns; ++turn )
    for ( Verify::Packet const& packet : packets ) chip.table()->lookUp( acl, packet );
  stopwatch.print();
  // Every look-up is counted as a hit or a miss, which keeps them from being left out.
  std::uint64_t packetsSeen = acl.misses();
  for ( Host::RuleHits const& hits : acl.hits() ) packetsSeen += hits.packets;
  printFact( "packets", static_cast<double>( packetsSeen - 1 ) );
  return true;
}

}  // namespace Orvex::Bench
