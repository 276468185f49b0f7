#pragma once

/// Writes policies as OpenConfig ACLs, which readOpenConfig() takes back.
///
/// A rule stays a rule: none is split into several. Lists of several prefixes or port ranges become defined sets; prefix
/// sets by the user's names or set1, set2, ..., port sets ports1, ports2, ... in order of use. Of a list whose excepts have
/// holes, the excludes are cut around them: see openConfigSetOf(). A default of permit becomes a last entry that accepts
/// everything. Rules' names become descriptions.

#include <optional>
#include <string>

#include "input/Diagnostics.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

/// None, with an error for each kind of loss, when the format cannot hold the policy.
std::optional<std::string> openConfigText( LocatedPolicy const& located, Diagnostics& diagnostics );

/// The same addresses as the union of the prefixes without the union of the excepts, whichever are longer:
///
///     10.0.0.0/8 10.1.1.0/24 !10.1.0.0/23     becomes     10.0.0.0/8 !10.1.0.0/24
PrefixList openConfigSetOf( PrefixList const& list );

}  // namespace Orvex::Host
