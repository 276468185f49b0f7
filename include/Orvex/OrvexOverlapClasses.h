#pragma once

/// Which sets stand in each other's way when every set is to have a block of its own.
///
/// Two sets overlap when they share a label and neither holds the other. Sets that overlap, directly or through others, are a
/// class. Sets of different classes nest or are disjoint; more, one class lies wholly in labels that the other's sets do not
/// tell apart. So classes nest like blocks, and each can be arranged for itself:
///
///     {1 2 3 4 5 6}  {1 2 3}  {3 4}  {5 6}        classes: {1 2 3 4 5 6}    in it: {1 2 3} with {3 4}, and {5 6}
///
/// In a policy of single prefixes every class is a single set.
///
/// The naive way compares all pairs of sets. Instead, the labels are split by one set after the other, the largest first; the
/// first set that splits another one is the largest that overlaps it; and whatever shares a label with a set and is between it
/// and its largest overlapping set in size is in its class. (E. Dahlhaus, "Parallel algorithms for hierarchical clustering and
/// applications to split decomposition and parity graph recognition", Journal of Algorithms 36, 2000; in the form of P.
/// Charbit, M. Habib, V. Limouzin, F. de Montgolfier, M. Raffinot and M. Rao, "A note on computing set overlap classes",
/// Information Processing Letters 108, 2008.)
///
/// Cost: linear in the labels of the sets, and O(n log n) in sets and in labels.

#include <cstdint>
#include <span>
#include <vector>

#include "Orvex/OrvexLabelFamily.h"

namespace Orvex {

class OverlapClasses {
 public:
  explicit OverlapClasses( LabelFamily const& family );

  std::uint32_t count() const { return static_cast<std::uint32_t>( starts_.size() ) - 1; }
  /// The sets of a class, largest first. Of two classes that nest, the outer one comes first.
  std::span<std::uint32_t const> setsOf( std::uint32_t overlapClass ) const {
    return std::span( sets_ ).subspan( starts_[overlapClass], starts_[overlapClass + 1] - starts_[overlapClass] );
  }

 private:
  std::vector<std::uint32_t> sets_;
  std::vector<std::uint32_t> starts_;
};

}  // namespace Orvex
