#pragma once

/// Plain labels as intervals. Transforms number the pieces of a set one after the other, so the labels of a set of hundreds
/// of pieces are mostly a few intervals:
///
///     labels 3, 4, 5, 6, 9        intervals 3-6 9-9
///
/// Sets of equal content share one such object.
///
/// Invariants: intervals ascend, and neither overlap nor touch. A single interval takes no memory beside the object.
/// Cost: adding a label above all others is constant; any other change moves the intervals behind it.

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
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
  explicit PlainLabels( std::span<Interval const> intervals );

  std::span<Interval const> intervals() const noexcept {
    return several_.empty() ? std::span( &single_, size_ == 0 ? 0 : 1 ) : std::span<Interval const>( several_ );
  }
  /// Number of labels.
  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  bool has( PlainLabel label ) const;
  Iterator begin() const noexcept;
  Iterator end() const noexcept;

  /// True when the label is new.
  bool insert( PlainLabel label );
  /// True when there was such a label.
  bool erase( PlainLabel label );

  bool operator==( PlainLabels const& other ) const;

 private:
  /// Where the intervals stand, to change them.
  std::span<Interval> ownIntervals() noexcept {
    return several_.empty() ? std::span( &single_, size_ == 0 ? 0 : 1 ) : std::span<Interval>( several_ );
  }
  void insertInterval( std::size_t at, Interval interval );
  void eraseInterval( std::size_t at );

  Interval single_{ 0, 0 };        // while there is one: most sets of a policy of single prefixes have one
  std::vector<Interval> several_;  // while there are more; empty otherwise
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

  explicit Iterator( Interval const* interval ) noexcept : interval_( interval ) {}

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
  Interval const* interval_;
  std::uint32_t offset_ = 0;
};

inline PlainLabels::Iterator PlainLabels::begin() const noexcept { return Iterator( intervals().data() ); }
inline PlainLabels::Iterator PlainLabels::end() const noexcept {
  return Iterator( intervals().data() + intervals().size() );
}

}  // namespace Orvex
