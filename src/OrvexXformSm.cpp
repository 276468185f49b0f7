#include "Orvex/OrvexXformSm.h"

#include <algorithm>
#include <numeric>
#include <span>

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

/// The labels of the groups that each class is in, ascending.
struct LabelsByClass {
  /// Null without groups.
  Kiv::Ptr<GenSetKeyClasses const> classes;
  std::vector<PlainLabel> all;       // class by class
  std::vector<std::uint32_t> first;  // where each class begins in `all`; one more at the end

  std::span<PlainLabel const> labels( std::uint32_t classId ) const {
    return std::span( all ).subspan( first[classId], first[classId + 1] - first[classId] );
  }
};

LabelsByClass labelsByClass( std::vector<GenSetKeyGroupDeduper::LabelledGroup> const& groups ) {
  LabelsByClass result;
  if ( groups.empty() ) return result;
  result.classes = keyGroupOf( groups.front() ).classes();
  result.first.resize( result.classes->size() + 1 );
  for ( auto const& labelled : groups ) {
    Kiv::fatalUnless( keyGroupOf( labelled ).classes() == result.classes,
                      "the groups of a computation are made of the same classes" );
    for ( auto const classId : keyGroupOf( labelled ).classIds() ) ++result.first[classId + 1];
  }
  std::partial_sum( result.first.begin(), result.first.end(), result.first.begin() );
  result.all.resize( result.first.back() );
  std::vector<std::uint32_t> next = result.first;
  for ( auto const& labelled : groups )
    for ( auto const classId : keyGroupOf( labelled ).classIds() ) result.all[next[classId]++] = labelled.label;
  return result;
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
  constexpr std::size_t kAhead = 8;  // sets lie apart, and the processor can fetch several at a time
  std::vector<std::uint32_t> firstEqual( sets.size() );
  HashIndex index( sets.size() );
  for ( std::uint32_t at = 0; at != sets.size(); ++at ) {
    if ( at + kAhead < sets.size() ) __builtin_prefetch( sets[at + kAhead] );
    firstEqual[at] = index.findOrAdd( sets[at]->hash(), at, [&]( std::uint32_t first ) {
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

/// The labels of a class are collected once, in an object that the lists of all its keys share.
void XformSmBase::doUpdatePlainLabelMap() {
  traceHandle.trace( 8, traceStr(), "doUpdatePlainLabelMap" );
  auto const& lists = xformStatus_->plainLabelListMap();
  lists->plainLabelListDelAll();
  auto const labelsOfClass = labelsByClass( xformSetGroupDeduper_->dedupedGenSetKeyGroup() );
  if ( !labelsOfClass.classes ) return;
  GenSetKeyClasses const& classes = *labelsOfClass.classes;
  lists->plainLabelListReserve( classes.keyCount() );
  for ( std::uint32_t classId = 0; classId != classes.size(); ++classId ) {
    auto const labels = labelsOfClass.labels( classId );
    if ( labels.empty() ) continue;
    auto const shared = Kiv::make<PlainLabels>( labels );
    for ( GenSetKey const key : classes.keys( classId ) ) lists->plainLabelListIs( key, shared );
  }
}

}  // namespace Orvex
