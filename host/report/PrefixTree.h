#pragma once

/// The prefixes of one side of one family as the tree that they nest in: to find an address's label is to go from the root
/// inwards as far as prefixes contain it.
///
///     10.0.0.0/8        label 1   offices
///       10.1.0.0/16     label 2   offices, branches
///         10.1.2.0/24   label 3   branches; not offices
///     192.0.2.0/24      label 4   guests
///
/// A tree of thousands of prefixes is not read to its end. Those nearest to the root are chosen, in ascending order among
/// equals, and each says how many it holds that are not.
///
/// The prefixes are those of the policy and of the snapshot, so that they are there when the compile has failed too.
/// Cost: O(n log n) in prefixes.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Orvex/OrvexPDData.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

struct PrefixNode {
  Vell::IpGenPrefix prefix;
  /// None without a snapshot.
  std::optional<std::uint16_t> label;
  /// In the path to the root, itself left out.
  std::size_t depth = 0;
  /// Prefixes within it, at any depth: those that are behind it in the tree's order.
  std::size_t within = 0;
  bool isChosen = false;
  /// Of those within it, the ones that are not chosen.
  std::size_t leftOut = 0;
  /// The names of the lists that match an address that is in this prefix and in none within it, a long text cut; and of
  /// those that match what is around it and not this. Only for what is chosen.
  std::string matched;
  std::string excepted;
};

struct PrefixTree {
  PrefixXformKey space;
  /// Ascending: each stands before those within it.
  std::vector<PrefixNode> nodes;
  /// Of all.
  std::size_t leftOut = 0;
};

/// Chooses at most `most` nodes. Requires: the policy is normalised. `snapshot` may be null.
PrefixTree prefixTreeOf( LocatedPolicy const& located, PrefixXformKey space, PDData const* snapshot, std::size_t most );

}  // namespace Orvex::Host
