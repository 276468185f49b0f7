#pragma once

/// The next version of a policy: one edit or a few, such as operators make.
///
///     rules       added, removed, moved, changed in a field or in the action
///     lists       a prefix or an except more or less, in one rule or in all that share the list
///     ACLs        added, removed, another default
///     nothing     the same version once more
///
/// What is added comes from a donor: a policy with the same prefixes and values, so that versions go on overlapping.

#include "packets/Random.h"
#include "policy/Policy.h"

namespace Orvex::Host::Test {

/// Normalised; often small beside `policy` and sometimes equal to it.
/// Requires: both are normalised.
Policy edited( Random& random, Policy policy, Policy const& donor );

}  // namespace Orvex::Host::Test
