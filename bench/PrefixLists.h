#pragma once

/// Prefix lists as networks have them.
///
/// The naive generator draws each list's prefixes at random. No two prefixes then stand in the same lists, so every
/// prefix needs a label of its own, which no real network asks for. Real lists are made of sites, and so are these:
///
///     site 1: 10.1.0.0/24 10.1.1.0/24 ... 10.1.40.0/24         8 to 64 neighbours in one aligned block
///     site 2: 10.1.7.64/29 10.1.7.72/29 ... 10.1.7.184/29      nested: inside 10.1.7.0/24 of site 1
///     list A: sites 1, 5, 9   !10.1.3.128/26                   an except within one of the list's prefixes
///     list B: sites 2, 5                                       shares site 5
///
/// The prefixes of a site stand in the same lists, so a label serves a site rather than a prefix. The scattered shape
/// is the naive generator, kept as the stress form.
///
/// Invariants: (1) equal parameters give equal lists in equal order, on every machine; (2) the pool has exactly
/// `distinctPrefixes` prefixes, all of them used as far as the lists have room; (3) no prefix lies
/// within more than kMaxNesting - 1 others of the pool; (4) an except lies strictly within a prefix of its list and is
/// none of its prefixes.
/// Cost: O(n log n) in listed prefixes.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Orvex/OrvexAclTypes.h"
#include "Vell/AddressFamily.h"
#include "packets/Random.h"

namespace Orvex::Bench {

enum class ListShape : std::uint8_t { sites, scattered };

struct PrefixListParameters {
  static constexpr std::uint32_t kMaxNesting = 12;
  static constexpr std::uint32_t kMaxDistinctPrefixes = 200000;

  std::uint32_t lists = 200;
  std::uint32_t prefixesPerList = 200;
  std::uint32_t distinctPrefixes = 20000;
  /// Number of except-prefixes of a list, in percent of its prefixes.
  std::uint32_t exceptPercent = 5;
  ListShape shape = ListShape::sites;
  Vell::AddressFamily family = Vell::AddressFamily::ipv4;
  std::uint64_t seed = 1;
};

struct PrefixLists {
  std::vector<Kiv::Ptr<IpPrefixList>> lists;
  /// Sites in the pool; for the scattered shape, prefixes.
  std::size_t sites = 0;
  std::size_t nestedSites = 0;
  /// Most prefixes of the pool on one way from a prefix to the address; 1 when nothing is nested.
  std::uint32_t deepestNesting = 0;
  /// Prefixes that stand in a list, each counted once, and once for every list.
  std::size_t distinctPrefixes = 0;
  std::size_t listedPrefixes = 0;
  std::size_t excepts = 0;
  /// Different groups of lists that hold a prefix together, nesting and excepts left aside. A compile needs about as
  /// many labels, and more for those two.
  std::size_t distinctGroups = 0;
};

/// Fails with: std::invalid_argument when a size is 0 or distinctPrefixes above its maximum.
PrefixLists makePrefixLists( PrefixListParameters const& parameters, Random& random );

}  // namespace Orvex::Bench
