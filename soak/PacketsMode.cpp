#include "Modes.h"
#include "ProvedTable.h"
#include "RandomPolicy.h"
#include "packets/BoundaryPackets.h"

namespace Orvex::Soak {

void packetsCase( Case& one ) {
  Host::Policy const policy = Host::Test::randomPolicy( one.random, { 1, 64, 4, 2, 15 } );
  ProvedTable const table = provedTable( policy, one );
  for ( Host::Acl const& acl : policy.acls ) {
    AskedChip const asked( *table.chip, policy, acl );
    Host::BoundaryPackets packets( one.random, acl );
    for ( std::uint64_t left = kPacketsACase / policy.acls.size(); left != 0; --left ) {
      bool const decided = asked.verdict( packets.next() ).rule.has_value();
      one.tally.add( decided ? "packets that a rule decides" : "packets that no rule matches" );
    }
  }
}

}  // namespace Orvex::Soak
