#pragma once

/// Writes policies as ACLs of RFC 8519, which readRfc8519() takes back.
///
/// A rule stays a rule: none is split into several. So a rule can be written when it has one prefix a side, one range of
/// ports a side (or all but one port), and one value of each other field. A default of permit becomes a last ACE that
/// accepts everything. Names are those of the rules; rules' numbers are kept where all names of an ACL are numbers.

#include <optional>
#include <string>

#include "input/Diagnostics.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

/// None, with an error for each kind of loss, when the format cannot hold the policy.
std::optional<std::string> rfc8519Text( LocatedPolicy const& located, Diagnostics& diagnostics );

}  // namespace Orvex::Host
