#pragma once

/// Plain labels as intervals. Transforms number the pieces of a set one after the other, so the labels of a set of hundreds
/// of pieces are mostly a few intervals:
///
///     labels 3, 4, 5, 6, 9        intervals 3-6 9-9
///
/// Sets of equal content share one such object.
///
/// Invariants: intervals ascend, and neither overlap nor touch.
/// Cost: adding a label above all others is constant; any other change moves the intervals behind it.

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "Kiv/Ptr.h"
#include "Orvex/OrvexGenSetValues.h"

namespace Orvex {

class PlainLabels : public Kiv::PtrInterface {
 public:
  /// Both ends included.
  struct Interval {
    std::uint32_t first;
    std::uint32_t last;
    bool operator==( Interval const& ) const = default;
  };
  class Iterator;

  PlainLabels() = default;
  explicit PlainLabels( std::vector<Interval> const& intervals );

  std::vector<Interval> const& intervals() const noexcept { return intervals_; }
  /// Number of labels.
  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return intervals_.empty(); }
  bool has( PlainLabel label ) const;
  Iterator begin() const noexcept;
  Iterator end() const noexcept;

  /// True when the label is new.
  bool insert( PlainLabel label );
  /// True when there was such a label.
  bool erase( PlainLabel label );

  bool operator==( PlainLabels const& other ) const { return intervals_ == other.intervals_; }

 private:
  std::vector<Interval> intervals_;
  std::size_t size_ = 0;
};

/// Yields the labels in ascending order. Does not survive changes.
class PlainLabels::Iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using difference_type = std::ptrdiff_t;
  using value_type = PlainLabel;
  using pointer = void;
  using reference = PlainLabel;

  explicit Iterator( std::vector<Interval>::const_iterator interval ) noexcept : interval_( interval ) {}

  PlainLabel operator*() const { return PlainLabel( interval_->first + offset_ ); }
  Iterator& operator++() {
    if ( interval_->first + offset_ == interval_->last ) {
      ++interval_;
      offset_ = 0;
    } else {
      ++offset_;
    }
    return *this;
  }
  Iterator operator++( int ) {
    Iterator const before = *this;
    ++*this;
    return before;
  }
  bool operator==( Iterator const& ) const = default;

 private:
  std::vector<Interval>::const_iterator interval_;
  std::uint32_t offset_ = 0;
};

inline PlainLabels::Iterator PlainLabels::begin() const noexcept { return Iterator( intervals_.begin() ); }
inline PlainLabels::Iterator PlainLabels::end() const noexcept { return Iterator( intervals_.end() ); }

}  // namespace Orvex
