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

/// A number for each span of parts, such that those with the same beginning stand side by side, and those with the same end.
class SpanTable {
 public:
  explicit SpanTable( std::uint32_t parts )
      : parts_( parts ), byFirst_( std::size_t{ parts } * parts, 0 ), byLast_( std::size_t{ parts } * parts, 0 ) {}

  std::uint64_t at( std::uint32_t first, std::uint32_t last ) const { return from( first )[last]; }
  /// By the span's last part.
  std::uint64_t const* from( std::uint32_t first ) const { return &byFirst_[std::size_t{ first } * parts_]; }
  /// By the span's first part.
  std::uint64_t const* to( std::uint32_t last ) const { return &byLast_[std::size_t{ last } * parts_]; }
  void set( std::uint32_t first, std::uint32_t last, std::uint64_t value ) {
    byFirst_[std::size_t{ first } * parts_ + last] = byLast_[std::size_t{ last } * parts_ + first] = value;
  }

 private:
  std::uint32_t parts_;
  std::vector<std::uint64_t> byFirst_;
  std::vector<std::uint64_t> byLast_;
};

class IntervalProgramme {
 public:
  explicit IntervalProgramme( CrossingSets const& sets )
      : count_( sets.partCount() ),
        weights_( std::size_t{ count_ } * count_, 0 ),
        cuts_( std::size_t{ count_ } * count_, 0 ),
        saved_( count_ ),
        sizes_( count_ ) {
    weighSpans( sets );
    for ( std::uint32_t part = 0; part != count_; ++part ) sizes_.set( part, part, sets.sizeOf( part ) );
    for ( std::uint32_t length = 2; length <= count_; ++length )
      for ( std::uint32_t first = 0; first + length <= count_; ++first )
        if ( weight( first, first + length - 1 ) != 0 ) solve( first, first + length - 1 );
  }

  std::vector<Joint> joints() {
    divide();
    return std::move( joints_ );
  }

 private:
  /// Of the sets that hold a span.
  std::uint64_t& weight( std::uint32_t first, std::uint32_t last ) {
    return weights_[std::size_t{ first } * count_ + last];
  }
  /// Where a span's second half begins.
  std::uint32_t& cut( std::uint32_t first, std::uint32_t last ) { return cuts_[std::size_t{ first } * count_ + last]; }

  /// A set holds a span when it holds the span that is longer by one at either end, or begins or ends here.
  void weighSpans( CrossingSets const& sets ) {
    auto const intervals = intervalsOf( sets );
    for ( std::size_t set = 0; set != intervals.size(); ++set )
      if ( intervals[set].parts != 0 ) weight( intervals[set].first, intervals[set].last ) += sets.weights()[set];
    for ( std::uint32_t length = count_; length-- > 1; )
      for ( std::uint32_t first = 0; first + length <= count_; ++first ) {
        std::uint32_t const last = first + length - 1;
        bool const hasLeft = first != 0;
        bool const hasRight = last + 1 != count_;
        if ( hasLeft ) weight( first, last ) += weight( first - 1, last );
        if ( hasRight ) weight( first, last ) += weight( first, last + 1 );
        if ( hasLeft && hasRight ) weight( first, last ) -= weight( first - 1, last + 1 );
      }
  }

  /// Requires: a set holds the span, and so all spans within it.
  void solve( std::uint32_t first, std::uint32_t last ) {
    std::uint64_t const* const savedLeft = saved_.from( first );
    std::uint64_t const* const savedRight = saved_.to( last );
    std::uint64_t most = 0;
    for ( std::uint32_t at = first + 1; at <= last; ++at ) most = std::max( most, savedLeft[at - 1] + savedRight[at] );
    std::uint64_t least = ~std::uint64_t{ 0 };
    for ( std::uint32_t at = first + 1; at <= last; ++at ) {
      if ( savedLeft[at - 1] + savedRight[at] != most ) continue;
      std::uint64_t const size = joinedSize( sizes_.at( first, at - 1 ), sizes_.at( at, last ) );
      if ( size >= least ) continue;
      least = size;
      cut( first, last ) = at;
    }
    saved_.set( first, last, most + weight( first, last ) );
    sizes_.set( first, last, least );
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
    std::uint32_t const middle = cut( first, last );
    std::uint32_t const left = join( first, middle - 1 );
    std::uint32_t const right = join( middle, last );
    joints_.push_back( { left, right, weight( first, last ) } );
    return count_ + static_cast<std::uint32_t>( joints_.size() ) - 1;
  }

  std::uint32_t count_;
  std::vector<std::uint64_t> weights_;
  std::vector<std::uint32_t> cuts_;
  SpanTable saved_;
  SpanTable sizes_;
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
