#pragma once

/// From the bytes of a captured frame to what rules can see of its packet.
///
///     Ethernet | VLAN tags, any number | IPv4 options                       | ports, ICMP type, TCP flags
///     cooked   |                       | IPv6 extension headers, fragments  |
///     raw IP   |                       |                                    |
///
/// The outermost IP packet counts; tunnels are not looked into. Its fields are
///
///     length      of the whole IP packet, its header included: in IPv6 40 more than the payload length
///     fragment    the offset in units of 8 bytes
///     ttl, dscp   in IPv6 the hop limit, and the upper six bits of the traffic class
///     proto       in IPv6 the one behind the extension headers (hop-by-hop, routing, fragment, authentication,
///                 destination options); other numbers, also encryption and "no next header", are protocols themselves
///     ports       of TCP, UDP, DCCP, SCTP and UDP-Lite; ICMP types of ICMP in IPv4 and ICMPv6 in IPv6
///
/// Later fragments have no ports, no ICMP type and no TCP flags.
///
/// Invariants:
///  1. Nothing is guessed: a packet has each of its fields from its own bytes, or there is a reason why there is none.
///  2. Nothing is read beyond what was captured, and nothing behind the packet's own end: Ethernet pads short frames.
///
/// Cost: O(headers); no memory is taken.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <variant>

#include "Kiv/Enumeration.h"
#include "verify/Packet.h"

namespace Orvex::Host {

/// What a frame begins with.
enum class LinkType : std::uint32_t { ethernet, linuxCooked, linuxCooked2, rawIp };

/// Why a frame gives no packet.
enum class Undecoded : std::uint32_t {
  notIp,
  // The capture holds less of the frame than there was, and not all of a header.
  cutInLink,
  cutInIp,
  cutInExtensions,
  cutInTransport,
  // The packet itself ends there.
  endsInLink,
  endsInIp,
  endsInExtensions,
  endsInTransport,
  wrongVersion,
  wrongLength,
  noLength,
  tooLong,
  secondFragmentHeader,
  hiddenProtocol,
};

inline constexpr std::array<std::string_view, 15> kUndecodedNames = {
    "no IP packet",
    "captured only into the link header",
    "captured only into the IP header",
    "captured only into the IPv6 extension headers",
    "captured only into the transport header",
    "ends within the link header",
    "ends within the IP header",
    "ends within the IPv6 extension headers",
    "ends within the transport header",
    "IP version is not the announced one",
    "IP lengths contradict the frame or each other",
    "IP length 0: a jumbogram, or not yet segmented",
    "IPv6 packet beyond 65,535 bytes",
    "two IPv6 fragment headers",
    "later IPv6 fragment that does not show its protocol",
};
inline constexpr std::size_t kUndecodedCount = kUndecodedNames.size();
static_assert( kUndecodedCount == Kiv::enumValue( Undecoded::hiddenProtocol ) + 1 );
constexpr std::span<std::string_view const> enumNames( Undecoded ) { return kUndecodedNames; }

struct Frame {
  std::span<std::uint8_t const> captured;
  /// As it was on the wire; more than what was captured when the capture cut it.
  std::size_t wireLength = 0;
};

std::variant<Verify::Packet, Undecoded> decode( LinkType link, Frame const& frame );

}  // namespace Orvex::Host
