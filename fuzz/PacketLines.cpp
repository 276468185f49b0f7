/// Packets as JSON, one a line.

#include "FuzzTarget.h"
#include "Reading.h"
#include "packets/PacketJson.h"

namespace Orvex::Fuzz {

void oneInput( std::string_view input ) {
  Reading reading( input );
  auto const packets = readPackets( *reading.file(), reading.diagnostics() );
  reading.check( packets.has_value() );
  if ( !packets ) return;
  for ( Host::AskedPacket const& asked : *packets ) {
    (void)familyOf( asked.packet );  // raises what is no packet
    Reading again( Host::packetJson( asked.acl, asked.packet ) );
    auto const back = readPackets( *again.file(), again.diagnostics() );
    bool const isSame =
        back && back->size() == 1 && back->front().acl == asked.acl && back->front().packet == asked.packet;
    if ( !isSame ) found( "the packet's own text is another packet: " + Host::packetJson( asked.acl, asked.packet ) );
  }
}

}  // namespace Orvex::Fuzz
