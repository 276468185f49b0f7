#pragma once

/// Prefix sets of OpenConfig against lists of prefixes.
///
/// A set matches the union of its prefixes without the union of its excludes, however long a prefix is that lies in an
/// exclude. In a list a longer prefix fills the hole of an except again. Both functions give prefixes and excepts that mean
/// the same either way, since no prefix lies within the excepts:
///
///     the set  10.0.0.0/8 10.1.1.0/24 !10.1.0.0/16     10.0.0.0/8 !10.1.0.0/16
///     the list 10.0.0.0/8 10.1.1.0/24 !10.1.0.0/23     10.0.0.0/8 !10.1.0.0/24     (the half that is not filled)
///
/// Without prefixes nothing is matched.
/// Cost: O(n log n) in prefixes; of a list, times the address width for each hole that is filled again.

#include "policy/Policy.h"

namespace Orvex::Host {

/// Of the prefixes and excludes of a set, in any order.
PrefixList listOfOpenConfigSet( PrefixList set );

PrefixList openConfigSetOf( PrefixList const& list );

}  // namespace Orvex::Host
