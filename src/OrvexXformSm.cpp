#include "Orvex/OrvexXformSm.h"

#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexXformSm" );

}  // namespace

// GenSetKeyGroupDeduper

PlainLabel GenSetKeyGroupDeduper::addGroup( Kiv::Ptr<GenSetKeyGroup const> const& group ) {
  auto const canonical = addObj( group );
  if ( auto const label = labelOfGroup_.find( DedupableIdentity{ canonical.get() } ) ) return *label;
  PlainLabel const label( plainLabelInc( 1 ) );
  labelOfGroup_.set( DedupableIdentity{ canonical.get() }, label );
  dedupedGenSetKeyGroup_.push_back( { canonical, label } );
  return label;
}

void GenSetKeyGroupDeduper::clear() {
  plainLabel_ = 0;
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
  Kiv::Ptr<GenSetKeyClasses const> classes;
  std::vector<Kiv::Ptr<PlainLabels>> labelsOfClass;
  for ( auto const& [object, label] : xformSetGroupDeduper_->dedupedGenSetKeyGroup() ) {
    auto const* const keyGroup = dynamic_cast<GenSetKeyGroup const*>( object.get() );
    Kiv::fatalUnless( keyGroup != nullptr, "keyGroup" );
    if ( keyGroup->empty() ) continue;
    Kiv::fatalUnless( keyGroup->classes() && ( !classes || classes == keyGroup->classes() ),
                      "the groups of a computation are made of the same classes" );
    classes = keyGroup->classes();
    labelsOfClass.resize( classes->size() );
    for ( auto const classId : keyGroup->classIds() ) {
      auto& labels = labelsOfClass[classId];
      if ( !labels ) labels = Kiv::make<PlainLabels>();
      labels->insert( label );
    }
  }
  for ( std::uint32_t classId = 0; classId != labelsOfClass.size(); ++classId ) {
    if ( !labelsOfClass[classId] ) continue;
    for ( GenSetKey const key : classes->keys( classId ) )
      lists->plainLabelListIs( key )->labelsAre( labelsOfClass[classId] );
  }
}

}  // namespace Orvex
