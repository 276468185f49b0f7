#include "Orvex/OrvexComboLabelResolverSm.h"

#include "Kiv/Trace.h"
#include "Orvex/OrvexByteHash.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexComboLabelResolverSm" );

Kiv::String traceName( Brae::ChipId chipId, ComboLabelSetType setType ) {
  Kiv::TextStream text;
  text << "ComboLabelResolverSm(" << chipId << ", " << setType << ")::";
  return text.str();
}

/// The sets of a rule that a kind of pair combines; a key is 0 where the rule has none.
GenSetKeyPair combinedKeys( GenSetIpRule const& rule, ComboLabelSetType type, std::string_view unknownType ) {
  switch ( type ) {
    case ComboLabelSetType::ipv4SrcDstPrefix:
    case ComboLabelSetType::ipv6SrcDstPrefix:
      return { rule.source(), rule.destination() };
    case ComboLabelSetType::srcDstL4Port:
      return { rule.sport(), rule.dport() };
    case ComboLabelSetType::comboLabelSetMax:
      break;
  }
  Kiv::fatal( unknownType );
}

bool isComplete( GenSetKeyPair const& pair ) { return pair.src != GenSetKey() && pair.dst != GenSetKey(); }

/// The only family whose rules a kind of pair combines; none where it is not of prefixes.
std::optional<Vell::AddressFamily> familyOf( ComboLabelSetType type ) {
  if ( type == ComboLabelSetType::ipv4SrcDstPrefix ) return Vell::AddressFamily::ipv4;
  if ( type == ComboLabelSetType::ipv6SrcDstPrefix ) return Vell::AddressFamily::ipv6;
  return std::nullopt;
}

}  // namespace

void ComboLabelDedupMarkAndSweeper::doCleanupSweptEntry( GenSetKey key ) {
  comboLabelInfo_->comboLabelSetCollDel( key );
  traceHandle.trace( 6, "ComboDeduper(", chipId_, ", ", type_, ") Cleaning up comboSet with key: ", key.value() );
}

GenSetKey ComboLabelDedupMarkAndSweeper::getGenSetKey( Kiv::Ptr<Dedupable const> const& object ) const {
  auto const* const comboLabelSet = dynamic_cast<ComboLabelSet const*>( object.get() );
  Kiv::fatalUnless( comboLabelSet != nullptr, "comboLabelSet" );
  return comboLabelSet->key();
}

ComboLabelResolverSm::ComboLabelResolverSm( Brae::ChipId chipId, Kiv::Ptr<ComboLabelResolverConfig const> const& config,
                                            Kiv::Ptr<ComboLabelResolverStatus> const& status,
                                            Kiv::Ptr<ChipHwCapability const> const& hwCapability,
                                            ComboLabelSetType setType,
                                            Kiv::Ptr<GenSetKeyGenerator> const& genSetKeyGen )
    : StageSm( chipId, config, status ),
      setType_( setType ),
      resolverStatus_( status ),
      hwCapability_( hwCapability ),
      genSetKeyGen_( genSetKeyGen ),
      comboLabelDeduper_( Kiv::make<ComboLabelDedupMarkAndSweeper>( setType, status->comboLabelInfo(), chipId ) ),
      emptyLabels_( Kiv::make<PlainLabels>() ),
      traceStr_( traceName( chipId, setType ) ) {
  traceHandle.trace( 8, traceStr_, "handleInitialized" );
}

Kiv::Ptr<ComboLabelResolverConfig const> ComboLabelResolverSm::resolverConfig() const {
  return Kiv::ptrCast<ComboLabelResolverConfig const>( config() );
}

// A kick

void ComboLabelResolverSm::doStartKick() {
  traceHandle.trace( 8, traceStr_, "doStartKick" );
  if ( !hwCapability_->comboEncodingAttrHas( setType_ ) ) {
    traceHandle.trace( 2, traceStr_, "doStartKick: Combo not enabled for: ", setType_ );
    doSetStatus( StageStatusType::finishedNotEnabled );
    return;
  }
  std::uint64_t const hash = doComputeComboHash();
  if ( resolverConfig()->srcXform()->status() == StageStatusType::finishedSkipped &&
       resolverConfig()->dstXform()->status() == StageStatusType::finishedSkipped && hash == workingSetHash_ ) {
    traceHandle.trace( 2, traceStr_, "doStartKick: Working set has not changed, skipping" );
    doSetStatus( StageStatusType::finishedSkipped );
    return;
  }
  workingSetHashIs( hash );
  doSetStatus( StageStatusType::inProgress );
  doCleanSm();
  if ( !checkRulesForSrcDstSets() ) {
    forget();
    doSetStatus( StageStatusType::finishedFailed );
    return;
  }
  doDeleteUnusedSets();
  doSetStatus( StageStatusType::finishedSuccess );
}

std::uint64_t ComboLabelResolverSm::doComputeComboHash() const {
  traceHandle.trace( 8, traceStr_, "doComputeComboHash" );
  ByteHash a;
  ByteHash b;
  auto const aggInfo = resolverConfig()->aggInfo();
  for ( auto list = aggInfo->aclGenSetIpRuleList().begin(); list; ++list ) {
    for ( auto rule = list.value()->genSetIpRule().begin(); rule; ++rule ) {
      auto const pair = combinedKeys( *rule.value(), setType_, "false && \"Invalid comboSet type\"" );
      if ( !isComplete( pair ) ) continue;
      a.feed( pair.src.value() ).feed( pair.dst.value() );
      b.feed( pair.dst.value() ).feed( pair.src.value() );
    }
  }
  return std::uint64_t{ b.result() } << 32 | a.result();
}

void ComboLabelResolverSm::doCleanSm() {
  traceHandle.trace( 8, traceStr_, "doCleanSm" );
  comboLabelDeduper_->unmarkAll();
  comboOfLists_.clear();
  resolverStatus_->comboLabelInfo()->srcDstToComboMapDelAll();
  resolverStatus_->genSetUsageInfo()->refCountDelAll();
}

void ComboLabelResolverSm::doDeleteUnusedSets() {
  traceHandle.trace( 8, traceStr_, "doDeleteUnusedSets" );
  comboLabelDeduper_->sweepUnmarked();
}

/// Leaves what a policy without combinations leaves, whose hash is 0.
void ComboLabelResolverSm::forget() {
  workingSetHashIs( 0 );
  doCleanSm();
  doDeleteUnusedSets();
}

// Forming the sets

bool ComboLabelResolverSm::checkRulesForSrcDstSets() {
  traceHandle.trace( 8, traceStr_, "checkRulesForSrcDstSets" );
  auto const family = familyOf( setType_ );
  auto const aggInfo = resolverConfig()->aggInfo();
  for ( auto list = aggInfo->aclGenSetIpRuleList().begin(); list; ++list ) {
    if ( family && list.value()->af() != *family ) continue;
    for ( auto rule = list.value()->genSetIpRule().begin(); rule; ++rule ) {
      auto const pair = combinedKeys( *rule.value(), setType_, "false" );
      if ( isComplete( pair ) && !doBuildComboLabelSet( pair.src, pair.dst ) ) return false;
    }
  }
  return true;
}

bool ComboLabelResolverSm::doBuildComboLabelSet( GenSetKey srcKey, GenSetKey dstKey ) {
  traceHandle.trace( 8, traceStr_, "doBuildComboLabelSet source ", srcKey.value(), " destination ", dstKey.value() );
  auto const& info = resolverStatus_->comboLabelInfo();
  if ( auto const known = info->srcDstToComboMap().find( GenSetKeyPair( srcKey, dstKey ) ) ) {
    traceHandle.trace( 6, traceStr_, "doBuildComboLabelSet ComboSet was previously computed Key: ", known->value() );
    resolverStatus_->genSetUsageInfo()->valueInc( *known, 1 );
    return true;
  }
  auto const srcLabels = labelsOf( true, srcKey );
  auto const dstLabels = labelsOf( false, dstKey );
  if ( !srcLabels || !dstLabels ) {
    traceHandle.trace( 0, traceStr_, "doBuildComboLabelSet: ", srcLabels ? "destination" : "source", " set ",
                       ( srcLabels ? dstKey : srcKey ).value(),
                       " has no plain labels to combine; its own encoding must be enabled with the combination's" );
    return false;
  }
  std::uint64_t const pairs = std::uint64_t{ srcLabels->size() } * dstLabels->size();
  if ( hwCapability_->maxComboPairs() != 0 && pairs > hwCapability_->maxComboPairs() ) {
    traceHandle.trace( 0, traceStr_, "doBuildComboLabelSet: source set ", srcKey.value(), " and destination set ",
                       dstKey.value(), " have ", pairs, " pairs of labels; at most ", hwCapability_->maxComboPairs(),
                       " are allowed" );
    return false;
  }

  GenSetKey const newKey( genSetKeyGen_->genKeyInc( 1 ) );
  if ( traceHandle.enabled( 9 ) )
    for ( PlainLabel const src : *srcLabels )
      for ( PlainLabel const dst : *dstLabels )
        traceHandle.trace( 9, traceStr_, "doBuildComboLabelSet src label: ", src.value(), " dst label: ", dst.value() );
  GenSetKey const key = canonicalKey( newKey, srcLabels, dstLabels );
  if ( key != newKey )
    traceHandle.trace( 6, traceStr_, "doBuildComboLabelSet Reusing comboSet with key: ", key.value() );
  else if ( traceHandle.enabled( 6 ) )
    traceHandle.trace( 6, traceStr_, "doBuildComboLabelSet Creating comboSet : ",
                       info->comboLabelSetColl().find( key )->stringValue() );
  info->srcDstToComboMapIs( GenSetKeyPair( srcKey, dstKey ), key );
  resolverStatus_->genSetUsageInfo()->valueInc( key, 1 );
  return true;
}

/// The key of the set of all pairs of these labels: `newKey` when there is none yet.
GenSetKey ComboLabelResolverSm::canonicalKey( GenSetKey newKey, Kiv::Ptr<PlainLabels const> const& srcLabels,
                                              Kiv::Ptr<PlainLabels const> const& dstLabels ) {
  LabelLists const lists{ srcLabels.get(), dstLabels.get() };
  if ( auto const known = comboOfLists_.find( lists ) ) return *known;
  auto const& info = resolverStatus_->comboLabelInfo();
  auto const set = info->comboLabelSetCollIs( newKey, setType_ );
  set->rectangleIs( srcLabels, dstLabels );
  GenSetKey const key = comboLabelDeduper_->addDeduped( set );
  if ( key != newKey ) info->comboLabelSetCollDel( newKey );
  comboOfLists_.set( lists, key );
  return key;
}

/// The labels of a rule's set; null when it is not empty and has none.
Kiv::Ptr<PlainLabels const> ComboLabelResolverSm::labelsOf( bool src, GenSetKey key ) const {
  auto const xform = src ? resolverConfig()->srcXform() : resolverConfig()->dstXform();
  if ( auto const list = xform->plainLabelListMap()->plainLabelList().find( key ) ) return list->labels();
  return isEmptySet( src, key ) ? emptyLabels_ : nullptr;
}

bool ComboLabelResolverSm::isEmptySet( bool src, GenSetKey key ) const {
  auto const family = familyOf( setType_ );
  if ( !family ) return false;  // a rule without ranges has no range set
  auto const info = resolverConfig()->aggInfo()->prefixInfo().find( PrefixXformKey( *family, src ) );
  auto const set = info ? info->prefixSetColl().find( key ) : nullptr;
  return set && set->prefix().empty();
}

}  // namespace Orvex
