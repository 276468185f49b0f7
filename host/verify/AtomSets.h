#pragma once

/// Sets of atoms. A field's values are cut into atoms, numbered from 0 in ascending order, such that nothing in question
/// tells two values of an atom apart; a set of values is then a list of intervals of atoms.
///
///     10-19, 20-29, 40       is kept as    10-29, 40
///
/// Every set has one form: its intervals ascend, and between two of them an atom is missing. Equal sets are kept once and
/// have one id, so that comparing two is comparing numbers.
///
/// Cost: making a set is O(n log n) in intervals; intersections and differences are linear, and those of sets of many
/// intervals are remembered.

#include <compare>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Orvex::Verify {

/// Both ends included.
struct Interval {
  std::uint32_t first = 0;
  std::uint32_t last = 0;

  friend auto operator<=>( Interval const&, Interval const& ) = default;
};

using AtomSet = std::vector<Interval>;

/// The one form of the union of the intervals, which may come in any order and overlap.
AtomSet canonical( std::vector<Interval> intervals );

class AtomSets {
 public:
  enum class Id : std::uint32_t {};
  static constexpr Id kEmpty{ 0 };

  AtomSets();
  AtomSets( AtomSets const& ) = delete;
  AtomSets& operator=( AtomSets const& ) = delete;

  Id idOf( std::vector<Interval> intervals );
  /// Stays where it is.
  AtomSet const& operator[]( Id id ) const { return sets_[static_cast<std::size_t>( id )]; }

  Id intersection( Id a, Id b );
  /// What is in `a` and not in `b`.
  Id difference( Id a, Id b );
  bool disjoint( Id a, Id b ) {
    if ( a == b || a == kEmpty || b == kEmpty ) return a == kEmpty || b == kEmpty;
    Extent const& inA = extent( a );
    Extent const& inB = extent( b );
    if ( areApart( inA.bounds, inB.bounds ) ) return true;
    return ( !inA.isInterval || !inB.isInterval ) && intersection( a, b ) == kEmpty;
  }
  bool contains( Id outer, Id inner ) { return outer == inner || intersection( outer, inner ) == inner; }

  /// About what all sets and what is remembered take.
  std::size_t bytes() const;

 private:
  struct ContentHash {
    AtomSets const* sets;
    std::size_t operator()( Id id ) const;
  };
  struct ContentEqual {
    AtomSets const* sets;
    bool operator()( Id a, Id b ) const { return ( *sets )[a] == ( *sets )[b]; }
  };
  /// The first and the last atom of a set, and whether it has all between them.
  struct Extent {
    Interval bounds;
    bool isInterval = false;
  };
  using Known = std::unordered_map<std::uint64_t, Id>;

  /// Requires: the set is in the one form.
  Id keep( AtomSet set );
  Extent const& extent( Id id ) const { return extents_[static_cast<std::size_t>( id )]; }
  static bool areApart( Interval const& a, Interval const& b ) { return a.last < b.first || b.last < a.first; }

  std::deque<AtomSet> sets_;
  std::vector<Extent> extents_;  // by id
  std::size_t intervals_ = 0;    // of all sets
  std::unordered_set<Id, ContentHash, ContentEqual> ids_;
  Known intersections_;
  Known differences_;
};

}  // namespace Orvex::Verify
