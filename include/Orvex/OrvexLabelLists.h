#pragma once

/// The label lists of all sets of a transform, in a few arrays: what a transform leaves behind, and what encoders read.
///
///     key 3: labels 1 2 3        list 0: 1-3
///     key 5: labels 1 2 3        list 0
///     key 8: labels 2 7          list 1: 2-2 7-7
///
/// There are tens of thousands of sets, and most have one interval. An object for each would lie somewhere in memory, and be
/// fetched from there by whoever makes it, reads it or lets it go; here 60,000 lists take 1.7 MB, which is read from one end to
/// the other. Sets of equal content share a list.
///
/// Invariants: keys ascend; the intervals of a list ascend, and neither overlap nor touch. Nothing changes once it is made.
/// Cost: finding a key is a bisection.

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Kiv/Ptr.h"
#include "Orvex/OrvexGenSetValues.h"
#include "Orvex/OrvexPlainLabels.h"

namespace Orvex {

class LabelLists : public Kiv::PtrInterface {
 public:
  using Interval = PlainLabels::Interval;
  using ListId = std::uint32_t;

  struct Entry {
    GenSetKey key;
    ListId list = 0;
  };

  /// `first[list]` is where a list begins in `intervals`, and one more stands at the end. Entries may come in any order.
  LabelLists( std::vector<Entry> entries, std::vector<Interval> intervals, std::vector<std::uint32_t> first );

  /// Ascending by key.
  std::span<Entry const> entries() const { return entries_; }
  /// In the order in which a Kiv::HashMap2018 of the keys iterates. Who fills or reads large maps in the order of the keys lands
  /// somewhere else in megabytes for each.
  std::vector<Entry> entriesInMapOrder() const;
  std::optional<ListId> find( GenSetKey key ) const;

  /// Lists are numbered from 0; there may be some without labels that have no entry.
  std::size_t listCount() const { return first_.size() - 1; }
  std::span<Interval const> intervals( ListId list ) const {
    return std::span( intervals_ ).subspan( first_[list], first_[list + 1] - first_[list] );
  }
  std::size_t labelCount( ListId list ) const;

  /// Calls `handle( label )` for each label of a list, in ascending order.
  template <class Handle>
  void forEachLabel( ListId list, Handle const& handle ) const {
    for ( Interval const& interval : intervals( list ) )
      for ( std::uint32_t label = interval.first; label != interval.last + 1; ++label ) handle( PlainLabel( label ) );
  }

 private:
  std::vector<Entry> entries_;
  std::vector<Interval> intervals_;
  std::vector<std::uint32_t> first_;
};

}  // namespace Orvex
