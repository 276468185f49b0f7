#pragma once

/// Writes policies as OpenConfig ACLs, which readOpenConfig() takes back.
///
/// A rule stays a rule: none is split into several. Lists of several prefixes or port ranges become defined sets; prefix
/// sets by the user's names or set1, set2, ..., port sets ports1, ports2, ... in order of use. A default of permit becomes a last entry that accepts
/// everything. Rules' names become descriptions.

#include <optional>
#include <string>

#include "input/Diagnostics.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

/// None, with an error for each kind of loss, when the format cannot hold the policy.
std::optional<std::string> openConfigText( LocatedPolicy const& located, Diagnostics& diagnostics );

}  // namespace Orvex::Host
