#pragma once

/// The least mean length that lists of addresses can have on a chip, where it is known: when each is a single prefix.
///
/// Prefixes nest, and their tree is the tree of blocks, in which each has a label; the optimum over all placements in aligned
/// blocks is that of BlockOptimum.h. The reserved value is one label more, unless every address has a label.

#include <optional>

#include "chip/ChipProfile.h"
#include "policy/Policy.h"

namespace Orvex::Bench {

/// Nothing when a list has several prefixes or excepts, or no rule matches addresses, or labels do not fit.
std::optional<double> leastAddressListLength( Host::Policy const& policy, Host::ChipProfile const& profile );

}  // namespace Orvex::Bench
