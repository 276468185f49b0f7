#pragma once

/// Packets and verdicts in files, one JSON object a line:
///
///     {"acl": "edge-in", "src": "10.0.0.1", "dst": "192.0.2.1", "proto": 6, "dport": 443, "tcpFlags": 2}
///     {"rule": 10, "action": "permit"}          {"rule": null, "action": "deny"}
///
/// `acl`, `src` and `dst` must be there; the addresses choose the family. The fields sport, dport, icmpType, proto, length,
/// fragment, dscp, ttl and tcpFlags are 0 unless given.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "input/Diagnostics.h"
#include "input/SourceFile.h"
#include "verify/Packet.h"

namespace Orvex::Host {

struct AskedPacket {
  /// The ACL that is asked, by the user's name.
  std::string acl;
  Verify::Packet packet;
  std::size_t line = 0;
};

/// All packets of the file, in order; empty lines are skipped. Nothing, with errors, when one is not good.
std::optional<std::vector<AskedPacket>> readPackets( SourceFile const& file, Diagnostics& diagnostics );

/// As a line, without its end. Fields that are 0 are left out.
std::string packetJson( std::string_view acl, Verify::Packet const& packet );
std::string verdictJson( Verify::Verdict const& verdict );

}  // namespace Orvex::Host
