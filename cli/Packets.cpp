#include "Inputs.h"
#include "output/OutputFile.h"
#include "packets/BoundaryPackets.h"
#include "packets/PacketJson.h"

namespace Orvex::Cli {

int packets( PacketsOptions const& options ) {
  Host::Diagnostics diagnostics;
  auto const located = readPolicy( options.policy, diagnostics );
  show( diagnostics, options.console );
  if ( !located ) return kQuestionIsWrong;
  auto const& acls = located->policy.acls;
  if ( acls.empty() && options.count != 0 ) {
    showError( "the policy has no ACL to make packets for", options.console );
    return kQuestionIsWrong;
  }
  Random random( options.seed );
  std::vector<Host::BoundaryPackets> makers;
  makers.reserve( acls.size() );
  for ( Host::Acl const& acl : acls ) makers.emplace_back( random, acl );
  Host::OutputFile output( options.output );
  for ( std::uint64_t made = 0; made != options.count; ++made ) {
    std::size_t const acl = random.below( acls.size() );
    output.write( Host::packetJson( acls[acl].name, makers[acl].next() ) + "\n" );
  }
  output.commit();
  return kDone;
}

}  // namespace Orvex::Cli
