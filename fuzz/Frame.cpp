/// The bytes of captured frames: the first chooses the link type, two more how much of the frame was not captured.
///
/// A capture that breaks off can say less than a longer one, and never something else.

#include <optional>
#include <vector>

#include "FuzzTarget.h"
#include "packets/PacketDecoder.h"

namespace Orvex::Fuzz {

namespace {

constexpr std::size_t kHead = 3;
constexpr std::size_t kMostBytes = 512;

using Bytes = std::vector<std::uint8_t>;

/// From memory of its own, so that a sanitizer sees what reads beyond it.
std::optional<Verify::Packet> packetIn( Host::LinkType link, Bytes const& captured, std::size_t wireLength ) {
  auto const decoded = decode( link, { captured, wireLength } );
  auto const* const packet = std::get_if<Verify::Packet>( &decoded );
  if ( !packet ) return std::nullopt;
  (void)familyOf( *packet );  // raises what is no packet
  if ( packet->isHeadFragment() ) return *packet;
  bool const hasTransport = packet->fields[Host::Field::sport] != 0 || packet->fields[Host::Field::dport] != 0 ||
                            packet->fields[Host::Field::icmpType] != 0 || packet->tcpFlags != 0;
  require( !hasTransport, "a later fragment has fields of its transport header" );
  return *packet;
}

}  // namespace

void oneInput( std::string_view input ) {
  if ( input.size() < kHead || input.size() > kMostBytes ) return;
  Bytes const bytes( input.begin(), input.end() );
  auto const link = static_cast<Host::LinkType>( bytes[0] % ( Kiv::enumValue( Host::LinkType::rawIp ) + 1 ) );
  std::size_t const missing = std::size_t{ bytes[1] } << 8 | bytes[2];
  Bytes const whole( bytes.begin() + kHead, bytes.end() );
  std::size_t const wireLength = whole.size() + missing;
  auto const packet = packetIn( link, whole, wireLength );
  for ( std::size_t length = 0; length != whole.size(); ++length ) {
    auto const shorter =
        packetIn( link, { whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>( length ) }, wireLength );
    require( !shorter || shorter == packet, "a frame that breaks off gives another packet" );
  }
}

}  // namespace Orvex::Fuzz
