#pragma once

/// What a rule would take on a chip without labels, to hold a compiled rule's entries against: every address list and every
/// range becomes the fewest prefixes of bits that cover it, and the rule all combinations of them.
///
///     source 10.0.0.0/8 except 10.0.0.0/9     1     10.128.0.0/9
///     dport 1-6                               4     1, 2-3, 4-5, 6
///     established                             2     ACK, RST
///                                             8 entries

#include <cstdint>

#include "policy/Policy.h"

namespace Orvex::Host {

/// At most the greatest number. Requires: the rule is normalised.
/// Cost: in proportion to the prefixes and ranges of the rule.
std::uint64_t plainEntries( Rule const& rule );

/// The fewest prefixes that match what the list matches; 1 for a null list.
std::uint64_t plainEntries( SharedPrefixList const& list );

/// The fewest prefixes of the field's bits that hold the set's values; 1 for a set without ranges.
std::uint64_t plainEntries( RangeSet const& ranges );

}  // namespace Orvex::Host
