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
  std::vector<Interval> intervals( sets.weights.size() );
  for ( std::uint32_t part = 0; part != sets.parts.size(); ++part )
    for ( std::uint32_t const set : sets.parts[part].sets ) {
      intervals[set].first = std::min( intervals[set].first, part );
      intervals[set].last = part;
      ++intervals[set].parts;
    }
  return intervals;
}

class IntervalProgramme {
 public:
  explicit IntervalProgramme( CrossingSets const& sets )
      : count_( static_cast<std::uint32_t>( sets.parts.size() ) ), spans_( std::size_t{ count_ } * count_ ) {
    weighSpans( sets );
    for ( std::uint32_t part = 0; part != count_; ++part ) span( part, part ).size = sets.parts[part].size;
    for ( std::uint32_t length = 2; length <= count_; ++length )
      for ( std::uint32_t first = 0; first + length <= count_; ++first ) solve( first, first + length - 1 );
  }

  std::vector<Joint> joints() {
    if ( count_ != 0 ) join( 0, count_ - 1 );
    return std::move( joints_ );
  }

 private:
  struct Span {
    std::uint64_t weight = 0;  // of the sets that hold it
    std::uint64_t saved = 0;
    std::uint64_t size = 0;
    std::uint32_t cut = 0;  // where the second half begins
  };

  Span& span( std::uint32_t first, std::uint32_t last ) { return spans_[std::size_t{ first } * count_ + last]; }

  /// A set holds a span when it holds the span that is longer by one at either end, or begins or ends here.
  void weighSpans( CrossingSets const& sets ) {
    auto const intervals = intervalsOf( sets );
    for ( std::size_t set = 0; set != intervals.size(); ++set )
      if ( intervals[set].parts != 0 ) span( intervals[set].first, intervals[set].last ).weight += sets.weights[set];
    for ( std::uint32_t length = count_; length-- > 1; )
      for ( std::uint32_t first = 0; first + length <= count_; ++first ) {
        std::uint32_t const last = first + length - 1;
        bool const hasLeft = first != 0;
        bool const hasRight = last + 1 != count_;
        if ( hasLeft ) span( first, last ).weight += span( first - 1, last ).weight;
        if ( hasRight ) span( first, last ).weight += span( first, last + 1 ).weight;
        if ( hasLeft && hasRight ) span( first, last ).weight -= span( first - 1, last + 1 ).weight;
      }
  }

  void solve( std::uint32_t first, std::uint32_t last ) {
    Span best;
    best.weight = span( first, last ).weight;
    for ( std::uint32_t cut = first + 1; cut <= last; ++cut ) {
      Span const& left = span( first, cut - 1 );
      Span const& right = span( cut, last );
      std::uint64_t const saved = left.saved + right.saved;
      if ( best.cut != 0 && saved < best.saved ) continue;
      std::uint64_t const size = best.weight == 0 ? left.size + right.size : joinedSize( left.size, right.size );
      if ( best.cut != 0 && saved == best.saved && size >= best.size ) continue;
      best.saved = saved;
      best.size = size;
      best.cut = cut;
    }
    best.saved += best.weight;
    span( first, last ) = best;
  }

  static constexpr std::uint32_t kApart = ~std::uint32_t{ 0 };

  /// The number of the span's block; kApart when no set fills it.
  std::uint32_t join( std::uint32_t first, std::uint32_t last ) {
    if ( first == last ) return first;
    Span const& whole = span( first, last );
    std::uint32_t const left = join( first, whole.cut - 1 );
    std::uint32_t const right = join( whole.cut, last );
    if ( whole.weight == 0 ) return kApart;
    joints_.push_back( { left, right, whole.weight } );
    return count_ + static_cast<std::uint32_t>( joints_.size() ) - 1;
  }

  std::uint32_t count_;
  std::vector<Span> spans_;
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
  KIV_CHECK( sets.parts.size() <= kProgrammeParts && areIntervals( sets ) );
  return IntervalProgramme( sets ).joints();
}

}  // namespace Orvex
