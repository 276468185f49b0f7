#pragma once

/// The union of prefix lists, as one list.
///
/// To put the prefixes of all lists and the excepts of all lists together would be wrong: an except of one list would cut
/// the addresses of another. So every list is followed by itself, from outer prefixes to inner ones, and a prefix is
/// written where the answer "some list matches here" changes:
///
///     10.0.0.0/8 !10.1.0.0/16   and   10.1.2.0/24 !10.1.2.128/25   become   10.0.0.0/8 10.1.2.0/24 !10.1.0.0/16 !10.1.2.128/25
///     10.0.0.0/8 !10.1.0.0/16   and   10.0.0.0/8                   become   10.0.0.0/8
///
/// This is exact: between neighbouring prefixes of all lists together, no list changes its answer.
///
/// Invariant: an address is matched by the union exactly when one of the lists matches it by itself (see PrefixList). No
/// prefix of the result could be left out.
/// Cost: O(n log n) in prefixes of all lists.

#include <span>

#include "policy/Policy.h"

namespace Orvex::Host {

/// Requires: all prefixes are of one family.
PrefixList unionOf( std::span<PrefixList const* const> lists );

}  // namespace Orvex::Host
