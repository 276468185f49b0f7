#pragma once

/// A prefix trie without nodes: finds the longest prefix that encloses another, and walks prefixes from the outside in.
///
/// The naive trie has a node a bit: 10,000 IPv6 prefixes are up to 1,280,000 nodes, spread over memory, and its walk
/// and its destruction recurse 128 deep. But prefixes sorted by address, then length already stand in the pre-order of
/// that trie, and all that is left to know is where each one's parent stands:
///
///     position  prefix         parent
///        0      10.0.0.0/8      none
///        1      10.1.0.0/16        0
///        2      10.1.2.0/24        1
///        3      10.9.0.0/16        0
///        4      11.0.0.0/8      none
///
/// The parents come from one pass from left to right: the parent of a prefix is its left neighbour or one of that
/// neighbour's ancestors, whichever first contains it. An ancestor that does not contain it is never looked at again,
/// so the pass is linear.
///
/// The trie may be changed at any time except from inside a walk; it is put in order by the next question.
///
/// Invariants, while in order: (1) members ascend strictly; (2) a parent stands before its child; (3) a parent is the
/// longest member that strictly contains its child.
/// Cost: n insertions and the first question O(n log n); k insertions into n members O(n + k log k) at the next
/// question; removal O(n); a question O(log n + depth); the parent of the prefix that a walk is at O(1). 28 bytes a
/// member.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Kiv/Ptr.h"
#include "Kiv/String.h"
#include "Vell/AddressFamily.h"
#include "Vell/IpGenPrefix.h"

namespace Vell {

/// What a walk does with the prefixes that it visits.
class TrieGenWalkCallback {
 public:
  virtual ~TrieGenWalkCallback() = default;

  /// Returns whether to continue the walk.
  virtual bool handlePrefix( IpGenPrefix const& prefix ) = 0;
};

class TrieGen : public Kiv::PtrInterface {
 public:
  TrieGen( Kiv::String name, AddressFamily af );

  Kiv::String const& name() const noexcept { return name_; }
  AddressFamily af() const noexcept { return af_; }

  /// Inserts the prefix, or removes it. A prefix that is there already (or is not there) is left as it is.
  /// Requires: the prefix is of the trie's family; no walk is in progress.
  void routeIs( IpGenPrefix const& prefix, bool present = true );

  bool has( IpGenPrefix const& prefix ) const;
  std::size_t size() const;

  /// The longest member that strictly contains the prefix, which need not be a member.
  std::optional<IpGenPrefix> findParent( IpGenPrefix const& prefix ) const;
  /// The longest member that contains the prefix: the prefix itself if it is a member.
  std::optional<IpGenPrefix> findLongestMatch( IpGenPrefix const& prefix ) const;

  /// Visits each member that `start` contains, parents before their descendants and siblings ascending. `start` itself
  /// need not be a member.
  void preOrderWalk( IpGenPrefix const& start, TrieGenWalkCallback& callback ) const;

 private:
  using Position = std::uint32_t;
  static constexpr Position kNone = ~Position{ 0 };

  void putInOrder() const;
  void linkParents() const;
  Position lowerBound( IpGenPrefix const& prefix ) const;
  Position parentPosition( IpGenPrefix const& prefix ) const;
  /// `from` or its nearest ancestor that contains the prefix.
  Position nearestContaining( Position from, IpGenPrefix const& prefix ) const;
  bool isAt( Position position, IpGenPrefix const& prefix ) const;

  Kiv::String name_;
  AddressFamily af_;

  /// The first `ordered_` members ascend; behind them stand those inserted since, in any order.
  mutable std::vector<IpGenPrefix> members_;
  mutable std::size_t ordered_ = 0;
  /// The parent's position of each ordered member.
  mutable std::vector<Position> parents_;
  /// Where the innermost walk is: callbacks ask about the prefix that they are given.
  mutable Position walkPosition_ = 0;
  mutable unsigned walks_ = 0;
};

}  // namespace Vell
