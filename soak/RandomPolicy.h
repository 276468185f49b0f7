#pragma once

/// Random policies, where faults hide: at the ends of ranges and prefixes, and one beside.
///
/// Prefixes come from a small pool in which they nest, stand beside each other, and reach from the default route to
/// single addresses; the ends of ranges from a few values of each field and their neighbours. So rules overlap, share
/// lists, hide each other and leave holes. Some rules match nothing, some ACLs have no rules or name no prefix, and the
/// two families use the same names.
///
/// Everything follows from the random numbers, so that a seed names one policy everywhere.

#include <cstdint>
#include <vector>

#include "packets/Random.h"
#include "policy/Policy.h"

namespace Orvex::Host::Test {

struct RandomPolicyOptions {
  std::uint32_t aclsPerFamily = 2;
  /// In each ACL, from none on.
  std::uint32_t maxRules = 12;
  /// In each list, of each kind.
  std::uint32_t maxPrefixes = 4;
  /// Ranges of each field that a rule names. A rule has at most two fields of more than single values: the entries of a
  /// rule are a product.
  std::uint32_t maxRanges = 3;
  /// Of the rules, in percent, that repeat what an earlier one of the ACL matches: all of it, or without one of its fields.
  std::uint32_t repeatedRules = 0;
};

/// As an author might write it: in any order, with ranges that overlap and lists that repeat themselves. It can be
/// normalised.
Policy randomRawPolicy( Random& random, RandomPolicyOptions const& options = {} );

/// Normalised.
Policy randomPolicy( Random& random, RandomPolicyOptions const& options = {} );

}  // namespace Orvex::Host::Test
