#include "Orvex/OrvexRangeSplitSm.h"

#include <algorithm>

#include "Kiv/Instantiate.h"
#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexRangeSplitSm" );

Kiv::String traceName( Brae::ChipId chipId, RangeSetType setType ) {
  Kiv::TextStream text;
  text << "RangeSplitSm(" << chipId << ", " << setType << ")::";
  return text.str();
}

}  // namespace

/// The sets that cover the values just before the point that the sweep is at, as class numbers with the sum of their hashes.
class RangeSplitSm::OpenSets {
 public:
  /// Every key is a class: the aggregator has given equal ranges one set.
  explicit OpenSets( GenSetKeyGroup const& keys )
      : keys_( keys.keyGroup() ), classes_( singletonClassesOf( keys ) ), interner_( classes_ ) {}

  bool empty() const { return classIds_.empty(); }
  void add( GenSetKeyGroup const& opened ) {
    for ( GenSetKey const key : opened.keyGroup() )
      if ( classIds_.insert( classOf( key ) ) ) hashSum_ += key.hash();
  }
  void remove( GenSetKeyGroup const& closed ) {
    for ( GenSetKey const key : closed.keyGroup() )
      if ( classIds_.erase( classOf( key ) ) ) hashSum_ -= key.hash();
  }
  Kiv::Ptr<GenSetKeyGroup> group() { return interner_.group( { classIds_.begin(), classIds_.end() }, hashSum_ ); }

 private:
  std::uint32_t classOf( GenSetKey key ) const {
    return static_cast<std::uint32_t>( std::lower_bound( keys_.begin(), keys_.end(), key ) - keys_.begin() );
  }

  GenSetKeyGroup::Keys keys_;
  Kiv::Ptr<GenSetKeyClasses const> classes_;
  Kiv::SortedSet<std::uint32_t> classIds_;
  std::uint64_t hashSum_ = 0;
  GenSetKeyGroupInterner interner_;
};

RangeSplitSm::RangeSplitSm( Brae::ChipId chipId, Kiv::Ptr<RangeSplitConfig const> const& config,
                            Kiv::Ptr<RangeSplitStatus> const& status,
                            Kiv::Ptr<ChipHwCapability const> const& hwCapability, RangeSetType setType )
    : XformSmBase( chipId, config, status, hwCapability, traceName( chipId, setType ) ),
      setType_( setType ),
      rangeSplitStatus_( status ) {}

RangeSplitAggregatorInfo const& RangeSplitSm::aggregatorInfo() const {
  return *Kiv::ptrCast<RangeSplitConfig const>( config() )->aggregatorInfo();
}

std::uint32_t RangeSplitSm::xformWidth() const {
  auto const attr = hwCapability()->rangeEncodingAttr().find( setType_ );
  return attr ? attr->width() : 0;
}

void RangeSplitSm::doBuildWorkingSet() {
  traceHandle.trace( 8, traceStr(), "doBuildWorkingSet" );
  workingSetIs( keysOf( aggregatorInfo().rangeSetColl() ) );
}

Kiv::Ptr<RangePointInfo> RangeSplitSm::rangePointInfoIs( std::uint16_t point ) {
  return Kiv::instantiate( rangePointInfo_, point );
}

/// In ascending order of the keys, so that each joins its groups at the end.
void RangeSplitSm::doCreateRangePoints() {
  traceHandle.trace( 8, traceStr(), "doCreateRangePoints" );
  rangePointInfo_.clear();
  for ( GenSetKey const key : workingSet()->keyGroup() ) {
    for ( RangeSetElem const& range : aggregatorInfo().rangeSetColl().find( key )->range() ) {
      rangePointInfoIs( range.first() )->start()->keyGroupIs( key );
      rangePointInfoIs( range.last() )->end()->keyGroupIs( key );
    }
  }
}

void RangeSplitSm::doBuildSetGroup() {
  traceHandle.trace( 8, traceStr(), "doBuildSetGroup" );
  doCreateRangePoints();
  OpenSets openSets( *workingSet() );
  std::uint16_t openStart = 0;
  rangeElemToGenSetGrp_.clear();
  for ( auto at = rangePointInfo_.begin(); at; ++at ) {
    std::uint16_t const point = at.key();
    auto const info = at.value();
    traceHandle.trace( 6, traceStr(), "doBuildSetGroup RangePoint: ", point );
    if ( !info->start()->empty() ) {
      if ( !openSets.empty() && point > openStart )
        createRange( openStart, static_cast<std::uint16_t>( point - 1 ), openSets );
      openStart = point;
      openSets.add( *info->start() );
    }
    if ( !info->end()->empty() ) {
      if ( !openSets.empty() ) createRange( openStart, point, openSets );
      openStart = static_cast<std::uint16_t>( point + 1 );  // 0 after 65535, which no point follows
      openSets.remove( *info->end() );
    }
  }
  Kiv::fatalUnless( openSets.empty(), "currentGenSetKeyGrp->keyGroups() == 0" );
}

void RangeSplitSm::createRange( std::uint16_t first, std::uint16_t last, OpenSets& openSets ) {
  traceHandle.trace( 6, traceStr(), "doBuildSetGroup Creating range: ( ", first, ", ", last, " )" );
  rangeElemToGenSetGrp_.set( RangeSetElem( first, last ), openSets.group() );
}

void RangeSplitSm::doAllocLabels() {
  traceHandle.trace( 8, traceStr(), "doAllocLabels" );
  rangeSplitStatus_->rangeToPlainLabelMapDelAll();
  labelPieces( rangeElemToGenSetGrp_, [this]( RangeSetElem const& range, PlainLabel label ) {
    rangeSplitStatus_->rangeToPlainLabelMapIs( range, label );
  } );
}

}  // namespace Orvex
