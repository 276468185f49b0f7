#pragma once

/// The identities of OpenConfig that reader and writer share.

#include <cstdint>

#include "Vell/AddressFamily.h"
#include "formats/InstanceValues.h"

namespace Orvex::Host {

/// Protocols by name; others are numbers.
extern Identities const kOpenConfigProtocols;

/// Types of ICMP or of ICMPv6. The modules name some of IANA's alone.
Identities const& openConfigIcmpTypes( Vell::AddressFamily family );

}  // namespace Orvex::Host
