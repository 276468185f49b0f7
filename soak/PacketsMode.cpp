#include "Modes.h"
#include "ProvedTable.h"
#include "RandomPolicy.h"
#include "packets/BoundaryPackets.h"
#include "packets/PacketJson.h"
#include "policy/AclConfigBuilder.h"
#include "verify/Interpreter.h"

namespace Orvex::Soak {

void packetsCase( Case& one ) {
  Host::Policy const policy = Host::Test::randomPolicy( one.random, { 1, 64, 4, 2, 15 } );
  ProvedTable const table = provedTable( policy, one );
  for ( Host::Acl const& acl : policy.acls ) {
    PDAclKey const key( acl.family, Host::libraryAclName( acl.family, acl.name ) );
    Host::BoundaryPackets packets( one.random, acl );
    for ( std::uint64_t left = kPacketsACase / policy.acls.size(); left != 0; --left ) {
      Verify::Packet const packet = packets.next();
      Verify::Verdict const want = interpret( acl, packet );
      Verify::Verdict const have = table.chip->lookUp( key, packet );
      if ( want != have )
        throw Failure( "packet " + Host::packetJson( acl.name, packet ) + ": the policy says " +
                           Host::verdictJson( want ) + ", the chip " + Host::verdictJson( have ),
                       policy, table.chip->profile() );
      one.tally.add( want.rule ? "packets that a rule decides" : "packets that no rule matches" );
    }
  }
}

}  // namespace Orvex::Soak
