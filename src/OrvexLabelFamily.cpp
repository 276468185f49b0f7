#include "Orvex/OrvexLabelFamily.h"

#include <algorithm>
#include <numeric>

namespace Orvex {

LabelFamily::LabelFamily( LabelLists const& lists, GenSetUsageInfo const& usage )
    : setOfList_( lists.listCount(), kNoSet ) {
  std::vector<LabelLists::ListId> distinct;
  for ( auto const& [key, list] : lists.entries() ) {
    if ( lists.intervals( list ).empty() ) continue;
    if ( setOfList_[list] == kNoSet ) {
      setOfList_[list] = setCount();
      weights_.push_back( 0 );
      distinct.push_back( list );
    }
    auto const count = usage.refCount().find( key );
    weights_[setOfList_[list]] += count ? count->value : 0;
  }
  std::vector<PlainLabels::Interval> intervals;
  for ( LabelLists::ListId const list : distinct )
    intervals.insert( intervals.end(), lists.intervals( list ).begin(), lists.intervals( list ).end() );
  numberLabels( std::move( intervals ) );
  starts_.reserve( distinct.size() + 1 );
  for ( LabelLists::ListId const list : distinct ) addSet( lists.intervals( list ) );
}

LabelFamily::LabelFamily( std::uint32_t labelCount, std::vector<std::vector<std::uint32_t>> const& sets,
                          std::vector<std::uint64_t> weights )
    : labelCount_( labelCount ), weights_( std::move( weights ) ) {
  if ( labelCount != 0 ) runs_.push_back( { { 0, labelCount - 1 }, 0 } );
  for ( auto const& set : sets ) {
    labels_.insert( labels_.end(), set.begin(), set.end() );
    starts_.push_back( static_cast<std::uint32_t>( labels_.size() ) );
  }
}

/// The runs are the union of the intervals.
void LabelFamily::numberLabels( std::vector<PlainLabels::Interval> intervals ) {
  std::sort( intervals.begin(), intervals.end(), []( auto const& a, auto const& b ) { return a.first < b.first; } );
  for ( PlainLabels::Interval const& interval : intervals ) {
    if ( runs_.empty() || runs_.back().interval.last < interval.first )
      runs_.push_back( { interval, 0 } );
    else
      runs_.back().interval.last = std::max( runs_.back().interval.last, interval.last );
  }
  for ( Run& run : runs_ ) {
    run.label = labelCount_;
    labelCount_ += run.interval.last - run.interval.first + 1;
  }
}

void LabelFamily::addSet( std::span<PlainLabels::Interval const> list ) {
  for ( PlainLabels::Interval const& interval : list ) {
    auto const behind =
        std::upper_bound( runs_.begin(), runs_.end(), interval.first,
                          []( std::uint32_t label, Run const& run ) { return label < run.interval.first; } );
    Run const& run = *std::prev( behind );
    std::uint32_t const first = run.label + ( interval.first - run.interval.first );
    std::size_t const at = labels_.size();
    labels_.resize( at + ( interval.last - interval.first + std::size_t{ 1 } ) );
    std::iota( labels_.begin() + static_cast<std::ptrdiff_t>( at ), labels_.end(), first );
  }
  starts_.push_back( static_cast<std::uint32_t>( labels_.size() ) );
}

std::uint64_t LabelFamily::weight() const {
  return std::accumulate( weights_.begin(), weights_.end(), std::uint64_t{ 0 } );
}

std::vector<PlainLabel> LabelFamily::plainLabels() const {
  std::vector<PlainLabel> labels;
  labels.reserve( labelCount_ );
  for ( Run const& run : runs_ )
    for ( std::uint32_t plain = run.interval.first;
          labels.size() != run.label + std::size_t{ 1 } + ( run.interval.last - run.interval.first ); ++plain )
      labels.emplace_back( plain );
  return labels;
}

}  // namespace Orvex
