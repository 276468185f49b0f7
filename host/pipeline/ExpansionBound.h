#pragma once

/// How many entries the rules take at least, without making them.
///
/// A rule takes the product of its lists' lengths, without the entries that an earlier rule of its ACL has. Two rules have no
/// more entries in common than their source lists have, times their destination lists, times what the other fields come to:
///
///     rule 1    source {a b c}    destination {x y}    2 others    12 entries
///     rule 2    source {c d}      destination {x}      4 others     8 entries, of which 1 x 1 x 2 can be rule 1's: at least 6
///
/// So a policy that is far beyond what a chip may hold is turned down before its entries fill the memory.
/// Cost: O(k^2) list comparisons for k rules, each list against another once; given up when that comes to too much.

#include <cstdint>
#include <vector>

#include "Orvex/OrvexGenSetTypes.h"

namespace Orvex::Host {

struct RuleLists {
  /// Equal for rules of one ACL.
  std::size_t acl = 0;
  /// Null when the rule has no such field.
  EncodedLabelWithMaskList const* source = nullptr;
  EncodedLabelWithMaskList const* destination = nullptr;
  /// Of all its lists' lengths; at most the greatest number.
  std::uint64_t product = 0;
};

/// A number of entries that the rules, in ascending order in each ACL, take at least; 0 when they do not take more than
/// `enough`. No more rules are looked at once it is above that.
std::uint64_t leastEntries( std::vector<RuleLists> const& rules, std::uint64_t enough );

}  // namespace Orvex::Host
