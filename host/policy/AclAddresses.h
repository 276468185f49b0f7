#pragma once

/// Addresses in ACL text: any, host A, A/LENGTH, and in IPv4 A WILDCARD.
///
/// A wildcard mask's ones are the bits that may differ. They have to stand together at the right, because a chip matches
/// addresses by prefix: 0.0.0.255 is /24, and 0.255.0.255 is refused.

#include <span>
#include <string_view>

#include "policy/AclLine.h"
#include "policy/Policy.h"

namespace Orvex::Host {

/// Reads one address. A prefix whose address has bits beyond its length is warned about and cut.
/// `otherWords` can stand in place of an address too; they are for messages.
/// Fails with: AclLineError, for addresses of the other family too.
Vell::IpGenPrefix readAddress( AclLine& line, Vell::AddressFamily family, Diagnostics& diagnostics,
                               std::span<std::string_view const> otherWords );

/// "IPv4" or "IPv6", for messages.
std::string_view familyName( Vell::AddressFamily family );

}  // namespace Orvex::Host
