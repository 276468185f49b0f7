#pragma once

/// How many labels a prefix table needs at least, read off the policy before anything is built from it. Lists of one prefix
/// alone get a label each: the piece of such a prefix is in its own list, and in those of the prefixes around it, and no two
/// pieces are in the same ones. So a policy of 100,000 hosts is turned down at once, not after the work of the stages.
/// Cost: O(n log n) in rules.

#include <cstdint>
#include <vector>

#include "Orvex/OrvexXformTypes.h"
#include "chip/TableUse.h"
#include "policy/Policy.h"

namespace Orvex::Host {

/// The number of different prefixes that are a list of their own on that side of a rule of that family.
std::uint64_t leastPrefixLabels( Policy const& policy, PrefixXformKey space );

/// Of these prefixes those that hold most labels, their own and those of the prefixes within, each named by the first rule
/// that has it; equal ones in the order of these rules.
std::vector<Cost> prefixesWithMostLabels( Policy const& policy, PrefixXformKey space );

}  // namespace Orvex::Host
