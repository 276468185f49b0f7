#include "Orvex/OrvexIntervalProgramme.h"

#include <algorithm>

#include "Kiv/FatalCheck.h"

namespace Orvex {

namespace {

struct Interval {
  std::uint32_t first = ~std::uint32_t{ 0 };
  std::uint32_t last = 0;
  std::uint32_t parts = 0;
};

/// By set.
std::vector<Interval> intervalsOf( CrossingSets const& sets ) {
  std::vector<Interval> intervals( sets.weights().size() );
  for ( std::uint32_t part = 0; part != sets.partCount(); ++part )
    for ( std::uint32_t const set : sets.setsOf( part ) ) {
      intervals[set].first = std::min( intervals[set].first, part );
      intervals[set].last = part;
      ++intervals[set].parts;
    }
  return intervals;
}

/// The parts of the longest.
std::uint32_t longest( std::vector<Interval> const& intervals ) {
  std::uint32_t parts = 1;
  for ( Interval const& interval : intervals ) parts = std::max( parts, interval.parts );
  return parts;
}

/// A number for each span of so many parts at most.
template <class Number>
class SpanTable {
 public:
  SpanTable( std::uint32_t parts, std::uint32_t longest )
      : longest_( longest ), numbers_( std::size_t{ parts } * longest, 0 ) {}

  Number& at( std::uint32_t first, std::uint32_t last ) {
    return numbers_[std::size_t{ first } * longest_ + ( last - first )];
  }

 private:
  std::uint32_t longest_;
  std::vector<Number> numbers_;
};

/// Such a table in which spans with the same beginning stand side by side, and also those with the same end.
class TwoWaySpanTable {
 public:
  TwoWaySpanTable( std::uint32_t parts, std::uint32_t longest )
      : longest_( longest ),
        byFirst_( std::size_t{ parts } * longest, 0 ),
        byLast_( std::size_t{ parts } * longest, 0 ) {}

  std::uint64_t at( std::uint32_t first, std::uint32_t last ) const { return from( first )[last - first]; }
  /// The span of the part alone, and those that are longer by one each.
  std::uint64_t const* from( std::uint32_t first ) const { return &byFirst_[std::size_t{ first } * longest_]; }
  /// The span, and those that are shorter by one each and end with it.
  std::uint64_t const* to( std::uint32_t first, std::uint32_t last ) const {
    return &byLast_[placeByLast( first, last )];
  }
  void set( std::uint32_t first, std::uint32_t last, std::uint64_t value ) {
    byFirst_[std::size_t{ first } * longest_ + ( last - first )] = byLast_[placeByLast( first, last )] = value;
  }

 private:
  std::size_t placeByLast( std::uint32_t first, std::uint32_t last ) const {
    return std::size_t{ last + 1 } * longest_ - 1 - ( last - first );
  }

  std::uint32_t longest_;
  std::vector<std::uint64_t> byFirst_;
  std::vector<std::uint64_t> byLast_;
};

class IntervalProgramme {
 public:
  explicit IntervalProgramme( CrossingSets const& sets ) : IntervalProgramme( sets, intervalsOf( sets ) ) {}

  std::vector<Joint> joints() {
    divide();
    return std::move( joints_ );
  }

 private:
  /// Spans that are longer than all intervals save nothing, and are left out.
  IntervalProgramme( CrossingSets const& sets, std::vector<Interval> const& intervals )
      : count_( sets.partCount() ),
        longest_( longest( intervals ) ),
        weights_( count_, longest_ ),
        cuts_( count_, longest_ ),
        saved_( count_, longest_ ),
        sizes_( count_, longest_ ) {
    weighSpans( intervals, sets.weights() );
    for ( std::uint32_t part = 0; part != count_; ++part ) sizes_.set( part, part, sets.sizeOf( part ) );
    for ( std::uint32_t length = 2; length <= longest_; ++length )
      for ( std::uint32_t first = 0; first + length <= count_; ++first )
        if ( weight( first, first + length - 1 ) != 0 ) solve( first, first + length - 1 );
  }

  /// Of the sets that hold a span.
  std::uint64_t weight( std::uint32_t first, std::uint32_t last ) {
    return last - first < longest_ ? weights_.at( first, last ) : 0;
  }

  /// A set holds a span when it holds the span that is longer by one at either end, or begins or ends here.
  void weighSpans( std::vector<Interval> const& intervals, std::vector<std::uint64_t> const& weights ) {
    for ( std::size_t set = 0; set != intervals.size(); ++set )
      if ( intervals[set].parts != 0 ) weights_.at( intervals[set].first, intervals[set].last ) += weights[set];
    for ( std::uint32_t length = longest_; length-- > 1; )
      for ( std::uint32_t first = 0; first + length <= count_; ++first ) {
        std::uint32_t const last = first + length - 1;
        bool const hasLeft = first != 0;
        bool const hasRight = last + 1 != count_;
        std::uint64_t& here = weights_.at( first, last );
        if ( hasLeft ) here += weight( first - 1, last );
        if ( hasRight ) here += weight( first, last + 1 );
        if ( hasLeft && hasRight ) here -= weight( first - 1, last + 1 );
      }
  }

  /// Requires: a set holds the span, and so all spans within it.
  void solve( std::uint32_t first, std::uint32_t last ) {
    std::uint32_t const cuts = last - first;
    std::uint64_t const* const savedLeft = saved_.from( first );
    std::uint64_t const* const savedRight = saved_.to( first + 1, last );
    std::uint64_t const* const sizeLeft = sizes_.from( first );
    std::uint64_t const* const sizeRight = sizes_.to( first + 1, last );
    std::uint64_t most = 0;
    std::uint64_t least = ~std::uint64_t{ 0 };
    std::uint32_t best = 0;
    for ( std::uint32_t at = 0; at != cuts; ++at ) {
      std::uint64_t const saved = savedLeft[at] + savedRight[at];
      if ( saved < most ) continue;
      std::uint64_t const larger = std::max( sizeLeft[at], sizeRight[at] );
      if ( saved == most && larger >= least ) continue;
      most = saved;
      least = larger;
      best = at;
    }
    cuts_.at( first, last ) = first + 1 + best;
    saved_.set( first, last, most + weight( first, last ) );
    sizes_.set( first, last, joinedSize( least, least ) );
  }

  /// The best way to divide all parts into blocks, each of which some set fills, or which is a part by itself.
  void divide() {
    struct Division {
      std::uint64_t saved = 0;
      std::uint64_t size = 0;
      std::uint32_t lastBlock = 0;  // its first part
    };
    std::vector<Division> upTo( count_ + 1 );  // by number of parts
    for ( std::uint32_t end = 1; end <= count_; ++end ) {
      Division& best = upTo[end];
      best = { upTo[end - 1].saved, upTo[end - 1].size + sizes_.at( end - 1, end - 1 ), end - 1 };
      for ( std::uint32_t first = end - 1; first-- != 0 && weight( first, end - 1 ) != 0; ) {
        std::uint64_t const saved = upTo[first].saved + saved_.at( first, end - 1 );
        std::uint64_t const size = upTo[first].size + sizes_.at( first, end - 1 );
        if ( saved > best.saved || ( saved == best.saved && size < best.size ) ) best = { saved, size, first };
      }
    }
    for ( std::uint32_t end = count_; end != 0; end = upTo[end].lastBlock ) join( upTo[end].lastBlock, end - 1 );
  }

  /// The number of the span's block.
  std::uint32_t join( std::uint32_t first, std::uint32_t last ) {
    if ( first == last ) return first;
    std::uint32_t const middle = cuts_.at( first, last );
    std::uint32_t const left = join( first, middle - 1 );
    std::uint32_t const right = join( middle, last );
    joints_.push_back( { left, right, weight( first, last ) } );
    return count_ + static_cast<std::uint32_t>( joints_.size() ) - 1;
  }

  std::uint32_t count_;
  std::uint32_t longest_;
  SpanTable<std::uint64_t> weights_;
  SpanTable<std::uint32_t> cuts_;
  TwoWaySpanTable saved_;
  TwoWaySpanTable sizes_;
  std::vector<Joint> joints_;
};

}  // namespace

bool areIntervals( CrossingSets const& sets ) {
  auto const intervals = intervalsOf( sets );
  return std::all_of( intervals.begin(), intervals.end(), []( Interval const& interval ) {
    return interval.parts == 0 || interval.parts == interval.last - interval.first + 1;
  } );
}

std::vector<Joint> intervalJoints( CrossingSets const& sets ) {
  KIV_CHECK( sets.partCount() <= kProgrammeParts && areIntervals( sets ) );
  return IntervalProgramme( sets ).joints();
}

}  // namespace Orvex
