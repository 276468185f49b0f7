#pragma once

/// The sets of a label table as their placement looks at them: which labels each has, and what each counts.
///
///     list 7: labels 3 4 9, used by 2 rules        set 0: labels 0 1 2, weight 2
///     list 8: labels 4 9, used by 5 rules          set 1: labels 1 2, weight 5
///
/// Labels are numbered anew from 0, in their old order, without those that no list has. Lists that share their labels are one
/// set, which counts for all of them; a list without labels is none.
///
/// Cost: the labels of the sets, once.

#include <cstdint>
#include <span>
#include <vector>

#include "Orvex/OrvexEncoderTypes.h"

namespace Orvex {

class LabelFamily {
 public:
  /// Of a list without labels.
  static constexpr std::uint32_t kNoSet = ~std::uint32_t{ 0 };

  struct List {
    GenSetKey key;
    std::uint32_t set = kNoSet;
  };

  LabelFamily( PlainLabelListMap const& lists, GenSetUsageInfo const& usage );
  /// Sets of labels that are numbered from 0, ascending in each set, and the sets' weights.
  LabelFamily( std::uint32_t labelCount, std::vector<std::vector<std::uint32_t>> const& sets,
               std::vector<std::uint64_t> weights );

  std::uint32_t labelCount() const { return labelCount_; }
  std::uint32_t setCount() const { return static_cast<std::uint32_t>( weights_.size() ); }
  /// Ascending, at least one.
  std::span<std::uint32_t const> labelsOf( std::uint32_t set ) const {
    return std::span( labels_ ).subspan( starts_[set], starts_[set + 1] - starts_[set] );
  }
  /// How many rule fields use the set.
  std::uint64_t weightOf( std::uint32_t set ) const { return weights_[set]; }
  /// Of all sets.
  std::uint64_t weight() const;

  /// Ascending by key.
  std::span<List const> lists() const { return lists_; }
  /// By label.
  std::vector<PlainLabel> plainLabels() const;

 private:
  /// Neighbouring plain labels, and the number of the first.
  struct Run {
    PlainLabels::Interval interval;
    std::uint32_t label;
  };

  void numberLabels( std::vector<PlainLabels::Interval> intervals );
  void addSet( PlainLabels const& list );

  std::uint32_t labelCount_ = 0;
  std::vector<Run> runs_;  // ascending
  std::vector<std::uint32_t> starts_{ 0 };
  std::vector<std::uint32_t> labels_;
  std::vector<std::uint64_t> weights_;
  std::vector<List> lists_;
};

}  // namespace Orvex
