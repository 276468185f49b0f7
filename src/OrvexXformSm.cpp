#include "Orvex/OrvexXformSm.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "Kiv/Trace.h"
#include "Orvex/OrvexHashIndex.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexXformSm" );

GenSetKeyGroup const& keyGroupOf( GenSetKeyGroupDeduper::LabelledGroup const& labelled ) {
  auto const* const keyGroup = dynamic_cast<GenSetKeyGroup const*>( labelled.group.get() );
  Kiv::fatalUnless( keyGroup != nullptr, "keyGroup" );
  return *keyGroup;
}

/// The labels of the groups that each class is in, as the lists of its keys. Groups come in ascending order of their labels,
/// so that a class's label either continues its last interval or begins one.
Kiv::Ptr<LabelLists const> labelListsOf( std::vector<GenSetKeyGroupDeduper::LabelledGroup> const& groups ) {
  if ( groups.empty() ) return nullptr;
  GenSetKeyClasses const& classes = *keyGroupOf( groups.front() ).classes();
  constexpr std::uint32_t kNoLabel = ~std::uint32_t{ 0 } - 1;
  std::vector<std::uint32_t> last( classes.size(), kNoLabel );
  std::vector<std::uint32_t> first( classes.size() + 1 );
  for ( auto const& labelled : groups ) {
    Kiv::fatalUnless( keyGroupOf( labelled ).classes().get() == &classes,
                      "the groups of a computation are made of the same classes" );
    std::uint32_t const label = labelled.label.value();
    for ( auto const classId : keyGroupOf( labelled ).classIds() )
      if ( std::exchange( last[classId], label ) + 1 != label ) ++first[classId + 1];
  }
  std::partial_sum( first.begin(), first.end(), first.begin() );

  std::vector<LabelLists::Interval> intervals( first.back() );
  std::vector<std::uint32_t> end( first.begin(), first.end() - 1 );
  for ( auto const& labelled : groups ) {
    std::uint32_t const label = labelled.label.value();
    for ( auto const classId : keyGroupOf( labelled ).classIds() ) {
      std::uint32_t& at = end[classId];
      if ( at != first[classId] && intervals[at - 1].last + 1 == label )
        intervals[at - 1].last = label;
      else
        intervals[at++] = { label, label };
    }
  }

  std::vector<LabelLists::Entry> entries;
  entries.reserve( classes.keyCount() );
  for ( std::uint32_t classId = 0; classId != classes.size(); ++classId )
    if ( first[classId] != first[classId + 1] )
      for ( GenSetKey const key : classes.keys( classId ) ) entries.push_back( { key, classId } );
  return Kiv::make<LabelLists>( std::move( entries ), std::move( intervals ), std::move( first ) );
}

}  // namespace

// GenSetKeyGroupDeduper

PlainLabel GenSetKeyGroupDeduper::addGroup( Kiv::Ptr<GenSetKeyGroup const> const& group ) {
  std::uint32_t const number = group->number();
  if ( !classes_ && number != GenSetKeyGroup::kNotInterned && labelOfGroup_.empty() ) classes_ = group->classes();
  if ( classes_ && number != GenSetKeyGroup::kNotInterned && group->classes() == classes_ ) {
    if ( labelOfNumber_.size() <= number )
      labelOfNumber_.resize( std::max<std::size_t>( number + 1, 2 * labelOfNumber_.size() ) );
    PlainLabel& label = labelOfNumber_[number];
    if ( label == PlainLabel() ) label = newLabel( group );
    return label;
  }
  Kiv::fatalUnless( !classes_, "the groups of a computation are made of the same classes" );
  auto const canonical = addObj( group );
  if ( auto const label = labelOfGroup_.find( DedupableIdentity{ canonical.get() } ) ) return *label;
  PlainLabel const label = newLabel( canonical );
  labelOfGroup_.set( DedupableIdentity{ canonical.get() }, label );
  return label;
}

PlainLabel GenSetKeyGroupDeduper::newLabel( Kiv::Ptr<Dedupable const> const& group ) {
  PlainLabel const label( plainLabelInc( 1 ) );
  dedupedGenSetKeyGroup_.push_back( { group, label } );
  return label;
}

void GenSetKeyGroupDeduper::clear() {
  plainLabel_ = 0;
  classes_ = nullptr;
  labelOfNumber_.clear();
  labelOfGroup_.clear();
  dedupedGenSetKeyGroup_.clear();
  Deduper::clear();
}

Kiv::Ptr<GenSetKeyClasses const> singletonClassesOf( GenSetKeyGroup const& keys ) {
  std::vector<GenSetKeyClasses::Member> members;
  for ( GenSetKey const key : keys.keyGroup() )
    members.push_back( { static_cast<std::uint32_t>( members.size() ), key } );
  return Kiv::make<GenSetKeyClasses>( std::move( members ) );
}

std::vector<std::uint32_t> firstEqualOf( std::vector<GenSet const*> const& sets ) {
  constexpr std::size_t kAhead = 8;  // sets and slots lie apart, and the processor can fetch several at a time
  std::vector<std::uint32_t> hashes( sets.size() );
  for ( std::size_t at = 0; at != sets.size(); ++at ) {
    if ( at + kAhead < sets.size() ) __builtin_prefetch( sets[at + kAhead] );
    hashes[at] = sets[at]->hash();
  }
  std::vector<std::uint32_t> firstEqual( sets.size() );
  HashIndex index( sets.size() );
  for ( std::uint32_t at = 0; at != sets.size(); ++at ) {
    if ( at + kAhead < sets.size() ) __builtin_prefetch( index.searchBegin( hashes[at + kAhead] ) );
    firstEqual[at] = index.findOrAdd( hashes[at], at, [&]( std::uint32_t first ) {
      return sets[first]->isEqual( Kiv::Ptr<GenSet const>( sets[at] ) );
    } );
  }
  return firstEqual;
}

// XformSmBase

XformSmBase::XformSmBase( Brae::ChipId chipId, Kiv::Ptr<StageConfig const> const& config,
                          Kiv::Ptr<XformStatus> const& status, Kiv::Ptr<ChipHwCapability const> const& hwCapability,
                          Kiv::String traceStr )
    : StageSm( chipId, config, status ),
      hwCapability_( hwCapability ),
      xformStatus_( status ),
      xformSetGroupDeduper_( Kiv::make<GenSetKeyGroupDeduper>() ),
      traceStr_( std::move( traceStr ) ) {
  traceHandle.trace( 8, traceStr_, "handleInitialized" );
}

void XformSmBase::doStartKick() {
  traceHandle.trace( 8, traceStr(), "doStartKick" );
  if ( xformWidth() == 0 ) {
    traceHandle.trace( 2, traceStr(), "doStartKick: Xform not enabled" );
    doSetStatus( StageStatusType::finishedNotEnabled );
    return;
  }
  if ( !hasWorkingSetChanged() ) {
    traceHandle.trace( 6, traceStr(), "doStartKick: Unchanged working set, skipping" );
    doSetStatus( StageStatusType::finishedSkipped );
    return;
  }
  Kiv::fatalUnless( xformWidth() <= EncodingAttr::kMaxWidth, "xformWidth() <= 16" );
  doBuildSetGroup();
  doAllocLabels();
  doUpdatePlainLabelMap();
  std::size_t const limit = ( std::size_t{ 1 } << xformWidth() ) - 1;
  if ( xformSetGroupDeduper_->dedupedGenSetKeyGroup().size() > limit ) {
    traceHandle.trace( 0, traceStr(), "doStartKick: Generated too many disjoint sets : ", limit );
    doSetStatus( StageStatusType::finishedFailed );
    return;
  }
  lastComputedKickTime_ = config()->kickTime();
  doSetStatus( StageStatusType::finishedSuccess );
}

bool XformSmBase::hasWorkingSetChanged() {
  traceHandle.trace( 8, traceStr(), "hasWorkingSetChanged" );
  doBuildWorkingSet();
  if ( previousWorkingSet_ && previousWorkingSet_->isEqual( workingSet_ ) ) return false;
  previousWorkingSet_ = workingSet_;
  return true;
}

/// The keys of a class share its list.
void XformSmBase::doUpdatePlainLabelMap() {
  traceHandle.trace( 8, traceStr(), "doUpdatePlainLabelMap" );
  auto const& lists = xformStatus_->plainLabelListMap();
  lists->plainLabelListDelAll();
  lists->labelListsAre( labelListsOf( xformSetGroupDeduper_->dedupedGenSetKeyGroup() ) );
}

}  // namespace Orvex
