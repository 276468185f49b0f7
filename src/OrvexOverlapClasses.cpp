#include "Orvex/OrvexOverlapClasses.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace Orvex {

namespace {

/// Largest first, equally large ones by number. A set's place in this order is its rank.
std::vector<std::uint32_t> setsBySize( LabelFamily const& family ) {
  std::vector<std::uint32_t> sets( family.setCount() );
  std::iota( sets.begin(), sets.end(), 0U );
  std::stable_sort( sets.begin(), sets.end(), [&]( std::uint32_t a, std::uint32_t b ) {
    return family.labelsOf( a ).size() > family.labelsOf( b ).size();
  } );
  return sets;
}

/// The labels in an order in which each split separates neighbours, with the rank of the set that separated them.
class Refinement {
 public:
  static constexpr std::uint32_t kNever = ~std::uint32_t{ 0 };

  explicit Refinement( std::uint32_t labels )
      : order_( labels ), place_( labels ), part_( labels, 0 ), separator_( labels, kNever ) {
    std::iota( order_.begin(), order_.end(), 0U );
    std::iota( place_.begin(), place_.end(), 0U );
    parts_.push_back( { 0, labels, 0 } );
  }

  /// Splits every part that the set holds a part of.
  void split( std::span<std::uint32_t const> set, std::uint32_t rank ) {
    touched_.clear();
    for ( std::uint32_t const label : set ) {
      Part& part = parts_[part_[label]];
      if ( part.moved == 0 ) touched_.push_back( part_[label] );
      exchange( place_[label], part.first + part.moved++ );
    }
    for ( std::uint32_t const number : touched_ ) splitPart( number, rank );
  }

  std::uint32_t placeOf( std::uint32_t label ) const { return place_[label]; }
  /// By place: what separated the label there from the one before it.
  std::vector<std::uint32_t> const& separators() const { return separator_; }

 private:
  struct Part {
    std::uint32_t first;
    std::uint32_t end;
    std::uint32_t moved;  // labels of the set at hand, which stand in front
  };

  void exchange( std::uint32_t a, std::uint32_t b ) {
    std::swap( order_[a], order_[b] );
    place_[order_[a]] = a;
    place_[order_[b]] = b;
  }

  void splitPart( std::uint32_t number, std::uint32_t rank ) {
    Part const whole = parts_[number];
    parts_[number].moved = 0;
    std::uint32_t const middle = whole.first + whole.moved;
    if ( middle == whole.end ) return;
    auto const front = static_cast<std::uint32_t>( parts_.size() );
    parts_.push_back( { whole.first, middle, 0 } );
    for ( std::uint32_t place = whole.first; place != middle; ++place ) part_[order_[place]] = front;
    parts_[number].first = middle;
    separator_[middle] = rank;
  }

  std::vector<std::uint32_t> order_;
  std::vector<std::uint32_t> place_;
  std::vector<std::uint32_t> part_;  // by label
  std::vector<Part> parts_;
  std::vector<std::uint32_t> separator_;
  std::vector<std::uint32_t> touched_;
};

/// Answers for the least of a span in constant time.
class SpanMinimum {
 public:
  /// Of spans of so many values at most.
  SpanMinimum( std::vector<std::uint32_t> values, std::uint32_t longest ) {
    levels_.push_back( std::move( values ) );
    for ( std::size_t width = 2; width <= longest; width *= 2 ) {
      auto const& half = levels_.back();
      std::vector<std::uint32_t> level( levels_.front().size() - width + 1 );
      for ( std::size_t at = 0; at != level.size(); ++at ) level[at] = std::min( half[at], half[at + width / 2] );
      levels_.push_back( std::move( level ) );
    }
  }

  /// Requires: first < end.
  std::uint32_t of( std::uint32_t first, std::uint32_t end ) const {
    auto const level = static_cast<std::uint32_t>( std::bit_width( end - first ) ) - 1;
    return std::min( levels_[level][first], levels_[level][end - ( std::uint32_t{ 1 } << level )] );
  }

 private:
  std::vector<std::vector<std::uint32_t>> levels_;
};

/// By rank: the rank of the largest set that overlaps the set and is no smaller; the set's own where there is none.
std::vector<std::uint32_t> largestOverlaps( LabelFamily const& family, std::vector<std::uint32_t> const& bySize ) {
  Refinement refinement( family.labelCount() );
  for ( std::uint32_t rank = 0; rank != bySize.size(); ++rank )
    refinement.split( family.labelsOf( bySize[rank] ), rank );
  struct Span {
    std::uint32_t first;
    std::uint32_t end;
  };
  std::vector<Span> spans( bySize.size() );  // between the places of a set's labels, by rank
  std::uint32_t longest = 0;
  for ( std::uint32_t rank = 0; rank != bySize.size(); ++rank ) {
    std::uint32_t first = family.labelCount();
    std::uint32_t last = 0;
    for ( std::uint32_t const label : family.labelsOf( bySize[rank] ) ) {
      first = std::min( first, refinement.placeOf( label ) );
      last = std::max( last, refinement.placeOf( label ) );
    }
    spans[rank] = { first + 1, last + 1 };
    longest = std::max( longest, last - first );
  }
  SpanMinimum const separators( refinement.separators(), longest );
  std::vector<std::uint32_t> overlaps( bySize.size() );
  for ( std::uint32_t rank = 0; rank != bySize.size(); ++rank ) {
    auto const [first, end] = spans[rank];
    overlaps[rank] = first == end ? rank : std::min( rank, separators.of( first, end ) );
  }
  return overlaps;
}

/// Joins numbers; a class is named by its least number.
class JoinedNumbers {
 public:
  explicit JoinedNumbers( std::size_t count ) : parent_( count ) { std::iota( parent_.begin(), parent_.end(), 0U ); }

  std::uint32_t nameOf( std::uint32_t number ) {
    while ( parent_[number] != number ) number = parent_[number] = parent_[parent_[number]];
    return number;
  }
  void join( std::uint32_t a, std::uint32_t b ) {
    a = nameOf( a );
    b = nameOf( b );
    parent_[std::max( a, b )] = std::min( a, b );
  }

 private:
  std::vector<std::uint32_t> parent_;
};

/// By label, from the largest to the smallest, the ranks of the sets that have it.
class RanksOfLabels {
 public:
  RanksOfLabels( LabelFamily const& family, std::vector<std::uint32_t> const& bySize )
      : starts_( family.labelCount() + std::size_t{ 1 }, 0 ) {
    for ( std::uint32_t const set : bySize )
      for ( std::uint32_t const label : family.labelsOf( set ) ) ++starts_[label + 1];
    std::partial_sum( starts_.begin(), starts_.end(), starts_.begin() );
    ranks_.resize( starts_.back() );
    std::vector<std::uint32_t> next( starts_.begin(), std::prev( starts_.end() ) );
    for ( std::uint32_t rank = 0; rank != bySize.size(); ++rank )
      for ( std::uint32_t const label : family.labelsOf( bySize[rank] ) ) ranks_[next[label]++] = rank;
  }

  std::span<std::uint32_t const> of( std::uint32_t label ) const {
    return std::span( ranks_ ).subspan( starts_[label], starts_[label + 1] - starts_[label] );
  }

 private:
  std::vector<std::uint32_t> starts_;
  std::vector<std::uint32_t> ranks_;
};

}  // namespace

OverlapClasses::OverlapClasses( LabelFamily const& family ) {
  auto const bySize = setsBySize( family );
  auto const overlaps = largestOverlaps( family, bySize );
  RanksOfLabels const ranksOfLabels( family, bySize );
  JoinedNumbers classes( bySize.size() );
  for ( std::uint32_t label = 0; label != family.labelCount(); ++label ) {
    auto const ranks = ranksOfLabels.of( label );
    std::uint32_t reach = Refinement::kNever;
    for ( std::size_t at = ranks.size(); at-- != 0; ) {
      if ( reach <= ranks[at] ) classes.join( ranks[at], ranks[at + 1] );
      reach = std::min( reach, overlaps[ranks[at]] );
    }
  }
  // Ranks of a class in ascending order, classes by their first rank.
  std::vector<std::uint32_t> sizes( bySize.size() + 1, 0 );
  for ( std::uint32_t rank = 0; rank != bySize.size(); ++rank ) ++sizes[classes.nameOf( rank )];
  std::vector<std::uint32_t> next( bySize.size(), 0 );
  starts_.push_back( 0 );
  for ( std::uint32_t rank = 0; rank != bySize.size(); ++rank ) {
    if ( classes.nameOf( rank ) != rank ) continue;
    next[rank] = starts_.back();
    starts_.push_back( starts_.back() + sizes[rank] );
  }
  sets_.resize( bySize.size() );
  for ( std::uint32_t rank = 0; rank != bySize.size(); ++rank ) sets_[next[classes.nameOf( rank )]++] = bySize[rank];
}

}  // namespace Orvex
