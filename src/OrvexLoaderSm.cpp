#include "Orvex/OrvexLoaderSm.h"

#include <algorithm>
#include <vector>

#include "Kiv/Instantiate.h"
#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexLoaderSm" );

Kiv::String traceName( Brae::ChipId chipId ) {
  Kiv::TextStream text;
  text << "LoaderSm(" << chipId << ")::";
  return text.str();
}

/// The types of an enumeration whose last name counts them.
template <class Type>
std::vector<Type> typesBelow( Type end ) {
  std::vector<Type> types;
  for ( std::uint32_t value = 0; value != Kiv::enumValue( end ); ++value )
    types.push_back( static_cast<Type>( value ) );
  return types;
}

std::vector<ComboLabelSetType> comboTypes() { return typesBelow( ComboLabelSetType::comboLabelSetMax ); }
std::vector<RangeSetType> rangeTypes() { return typesBelow( RangeSetType::rangeSetMax ); }

/// A kind of label is off when the chip has no attribute for it, or one of width 0.
template <class Attributes>
bool isOff( Attributes const& attributes, typename Attributes::Key const& type ) {
  auto const attr = attributes.find( type );
  return !attr || attr->width() == 0;
}

}  // namespace

class LoaderSm::KivPDStatus : public Kiv::Reactor<PDStatus::NotifieeConst, LoaderSm> {
 public:
  using Reactor::Reactor;
  void onPdPrefixXformEntryStatus() override { owner()->handleXformStatus(); }
  void onPdPrefixXformEntryStatus( PrefixXformKey ) override { owner()->handleXformStatus(); }
  void onComboEntryStatus( ComboLabelSetType ) override { owner()->handleXformStatus(); }
  void onRangeEntryStatus( RangeSetType ) override { owner()->handleXformStatus(); }
  void onPdTcpFlagsXformEntryStatus() override { owner()->handleXformStatus(); }
  void onPdAclRuleIpv4EntryStatus() override { owner()->handleXformStatus(); }
  void onPdAclRuleIpv6EntryStatus() override { owner()->handleXformStatus(); }
  void onGlobalAclControl() override { owner()->handleGlobalAclControl(); }
};

LoaderSm::LoaderSm( Brae::ChipId chipId, Kiv::Ptr<LoaderConfig const> const& config,
                    Kiv::Ptr<LoaderStatus> const& status, Kiv::Ptr<PDConfig> const& pdConfig,
                    Kiv::Ptr<PDStatus const> const& pdStatus, Kiv::Ptr<ChipHwCapability const> const& hwCapability,
                    Kiv::Ptr<Brae::ParamConfig const> const& aclParamConfig )
    : StageSm( chipId, config, status ),
      loaderStatus_( status ),
      pdConfig_( pdConfig ),
      hwCapability_( hwCapability ),
      aclParamConfig_( aclParamConfig ),
      kivPDStatus_( Kiv::make<KivPDStatus>( this ) ),
      traceKey_( traceName( chipId ) ) {
  kivPDStatus_->notifierIs( pdStatus );
}

LoaderSm::~LoaderSm() = default;

Kiv::Ptr<PDStatus const> LoaderSm::pdStatus() const { return kivPDStatus_->notifier(); }

LoaderConfig const& LoaderSm::loaderConfig() const { return *Kiv::ptrCast<LoaderConfig const>( config() ); }

double LoaderSm::requestId() const { return config()->kickTime(); }

void LoaderSm::request( RequestState state ) { pdConfig_->pdResourceConfigIs( ResourceConfig( requestId(), state ) ); }

// A kick

void LoaderSm::doStartKick() {
  traceHandle.trace( 8, traceKey_, "doStartKick" );
  traceHandle.trace( 6, traceKey_, "doStartKick resetting loader state to initial" );
  smStateIs( LoaderSmState::initial );
  isHitlessIs( true );
  doPDLoad();
  smStateIs( LoaderSmState::waitingForAcquire );
  request( RequestState::acquire );
}

void LoaderSm::smStateIs( LoaderSmState state ) {
  if ( state == smState_ ) return;
  traceHandle.trace( 6, traceKey_, "smStateIs set smState to ", state );
  smState_ = state;
  handleLoaderState();
}

void LoaderSm::handleLoaderState() {
  traceHandle.trace( 8, traceKey_, "handleLoaderState state ", smState_ );
  switch ( smState_ ) {
    case LoaderSmState::initial:
    case LoaderSmState::waitingForAcquire:
    case LoaderSmState::pdLocalFail:
    case LoaderSmState::waitingForRevert:
      return;
    case LoaderSmState::pdAcquireSuccess:
      if ( isHitless_ ) {
        request( RequestState::load );
      } else {
        bool const permit = aclParamConfig_->hitfulUpdatePolicy() == Brae::ParamConfig::kPermit;
        auto const policy = permit ? GlobalAclControl::permitAll : GlobalAclControl::denyAll;
        traceHandle.trace( 2, traceKey_, "handleLoaderState: Set global policy: ", policy );
        pdConfig_->globalAclControlIs( policy );
      }
      return;
    case LoaderSmState::pdAcquireFail:
      loaderStatus_->lastFailedStateIs( FailureData{ pdConfig_->currPDData(), failedResponseId_ } );
      pdConfig_->currPDDataIs( pdConfig_->prevPDData() );
      smStateIs( LoaderSmState::waitingForRevert );
      request( RequestState::revert );
      return;
    case LoaderSmState::pdLoadSuccess:
      if ( isHitless_ ) {
        doSetStatus( StageStatusType::finishedSuccess );
      } else {
        traceHandle.trace( 2, traceKey_, "handleLoaderState: Set global policy: doNotApply" );
        pdConfig_->globalAclControlIs( GlobalAclControl::doNotApply );
      }
      return;
    case LoaderSmState::pdRevertSuccess:
      doSetStatus( StageStatusType::finishedFailed );
      return;
  }
  Kiv::fatal( "0 && \"Invalid smState\"" );
}

// The snapshot

void LoaderSm::doPDLoad() {
  traceHandle.trace( 8, traceKey_, "doPDLoad" );
  pdConfig_->prevPDDataIs( pdConfig_->currPDData() );
  auto const pdData = Kiv::make<PDData>();
  auto const& prefixes = loaderConfig().prefixXformLoaderInfo();
  for ( auto info = prefixes.begin(); info; ++info ) loadPrefixInfo( info.key(), *info.value(), *pdData );
  loadComboInfo( *pdData );
  loadRangeInfo( *pdData );
  loadAclRuleInfo( *pdData );
  pdConfig_->currPDDataIs( pdData );
}

void LoaderSm::loadPrefixInfo( PrefixXformKey key, PrefixXformLoaderInfo const& loaderInfo, PDData& pdData ) const {
  traceHandle.trace( 8, traceKey_, "loadPrefixInfo" );
  auto const entries = pdData.pdPrefixXformEntryCollIs( key );
  for ( auto const& [prefix, label] : loaderInfo.prefixToLabelMap() ) entries->entryIs( { prefix, label } );
}

/// In ascending order, in which a table is filled fast.
void LoaderSm::loadComboInfo( PDData& pdData ) const {
  traceHandle.trace( 8, traceKey_, "loadComboInfo" );
  auto const& combos = loaderConfig().comboLabelLoaderInfo();
  for ( auto info = combos.begin(); info; ++info ) {
    std::vector<PDComboEntry> entries;
    auto const& labels = info.value()->encComboToEncodedLabelMap();
    entries.reserve( labels.size() );
    for ( auto label = labels.begin(); label; ++label ) entries.emplace_back( label.key(), label.value() );
    std::sort( entries.begin(), entries.end() );
    for ( PDComboEntry const& entry : entries ) pdData.comboEntryColl( info.key() )->entryIs( entry );
  }
}

void LoaderSm::loadRangeInfo( PDData& pdData ) const {
  traceHandle.trace( 8, traceKey_, "loadRangeInfo" );
  for ( RangeSetType const type : rangeTypes() ) {
    auto const info = loaderConfig().rangeSplitLoaderInfo().find( type );
    if ( !info ) continue;
    for ( auto const& [range, label] : info->rangeToEncodedLabelMap() )
      pdData.rangeEntryColl( type )->entryIs( { range, label } );
  }
}

void LoaderSm::loadAclRuleInfo( PDData& pdData ) const {
  traceHandle.trace( 8, traceKey_, "loadAclRuleInfo" );
  pdData.pdAclCollIs( loaderConfig().ruleExpanderLoaderInfo() );
}

// Answers

void LoaderSm::handleXformStatus() {
  traceHandle.trace( 8, traceKey_, "handleXformStatus" );
  if ( !checkEveryStatus() ) return;
  switch ( smState_ ) {
    case LoaderSmState::waitingForAcquire:
      return smStateIs( LoaderSmState::pdAcquireSuccess );
    case LoaderSmState::pdAcquireSuccess:
      return smStateIs( LoaderSmState::pdLoadSuccess );
    case LoaderSmState::pdLocalFail:
      return handleLocalFail();
    case LoaderSmState::waitingForRevert:
      return smStateIs( LoaderSmState::pdRevertSuccess );
    case LoaderSmState::initial:
    case LoaderSmState::pdAcquireFail:
    case LoaderSmState::pdLoadSuccess:
      traceHandle.trace( 2, traceKey_, "handleXformStatus smState ", smState_, " requestState ",
                         pdConfig_->pdResourceConfig().requestState );
      Kiv::fatal( "0 && \"reached invalid state for handleXformStatus\"" );
    case LoaderSmState::pdRevertSuccess:
      break;
  }
  Kiv::fatal( "0 && \"Invalid smState\"" );
}

void LoaderSm::handleLocalFail() {
  switch ( pdConfig_->pdResourceConfig().requestState ) {
    case RequestState::acquire:
      return smStateIs( LoaderSmState::pdAcquireFail );
    case RequestState::load:
      Kiv::fatal( "0 && \"Failed to load data into acquired resources\"" );
    case RequestState::revert:
      return;
  }
}

bool LoaderSm::checkEveryStatus() {
  return checkPrefixStatus() && checkComboStatus() && checkRangeStatus() &&
         checkXformStatus( pdStatus()->pdAclRuleIpv4EntryStatus() ) &&
         checkXformStatus( pdStatus()->pdAclRuleIpv6EntryStatus() );
}

bool LoaderSm::checkPrefixStatus() {
  auto const& prefixes = loaderConfig().prefixXformLoaderInfo();
  for ( auto info = prefixes.begin(); info; ++info ) {
    auto const answer = pdStatus()->pdPrefixXformEntryStatus().find( info.key() );
    if ( answer && checkXformStatus( *answer ) ) continue;
    traceHandle.trace( 6, traceKey_, "checkPrefixStatus: Not all prefix entry status have been updated" );
    return false;
  }
  return true;
}

bool LoaderSm::checkComboStatus() {
  auto const types = comboTypes();
  bool const answered = std::all_of( types.begin(), types.end(), [this]( ComboLabelSetType type ) {
    if ( isOff( hwCapability_->comboEncodingAttr(), type ) ) {
      traceHandle.trace( 8, traceKey_, "checkComboStatus: Xform for combo:", type, "is off" );
      return true;
    }
    traceHandle.trace( 8, traceKey_, "checkComboStatus Check xform status for combo:", type );
    return checkXformStatus( pdStatus()->comboEntryStatus( type ) );
  } );
  if ( !answered ) traceHandle.trace( 6, traceKey_, "checkComboStatus: Not all combo entry status have been updated" );
  return answered;
}

bool LoaderSm::checkRangeStatus() {
  auto const types = rangeTypes();
  bool const answered = std::all_of( types.begin(), types.end(), [this]( RangeSetType type ) {
    if ( isOff( hwCapability_->rangeEncodingAttr(), type ) ) {
      traceHandle.trace( 8, traceKey_, "checkRangeStatus: Xform for range:", type, "is off" );
      return true;
    }
    traceHandle.trace( 8, traceKey_, "checkRangeStatus: Check xform status for range:", type );
    return checkXformStatus( pdStatus()->rangeEntryStatus( type ) );
  } );
  if ( answered && checkXformStatus( pdStatus()->pdTcpFlagsXformEntryStatus() ) ) return true;
  traceHandle.trace( 6, traceKey_, "checkRangeStatus: Not all range entry status have been updated" );
  return false;
}

bool LoaderSm::checkXformStatus( ResourceStatus const& answer ) {
  RequestState const requested = pdConfig_->pdResourceConfig().requestState;
  traceHandle.trace( 8, traceKey_, "checkXformStatus" );
  traceHandle.trace( 6, traceKey_, "checkXformStatus resourceStatus ", answer, " pdRequestState ", requested );
  if ( answer.responseId != requestId() ) return false;
  switch ( requested ) {
    case RequestState::acquire:
      if ( answer.responseState == ResponseState::hitful ) isHitlessIs( false );
      if ( answer.responseState == ResponseState::failed )
        return handleRefusal( answer, ": Failed resource acquisition" );
      return answer.responseState == ResponseState::hitless || answer.responseState == ResponseState::hitful;
    case RequestState::load:
      if ( answer.responseState == ResponseState::failed ) return handleRefusal( answer, ": Failed to load resources" );
      return answer.responseState == ResponseState::loaded;
    case RequestState::revert:
      if ( answer.responseState != ResponseState::reverted ) return false;
      traceHandle.trace( 2, traceKey_, "checkXformStatus: Unused resources have been released" );
      return true;
  }
  Kiv::fatal( "0 && \"RequestState not implemented\"" );
}

bool LoaderSm::handleRefusal( ResourceStatus const& answer, std::string_view what ) {
  traceHandle.trace( 0, traceKey_, "checkXformStatus", what );
  smStateIs( LoaderSmState::pdLocalFail );
  failedResponseIdIs( answer.responseId );
  return true;
}

void LoaderSm::handleGlobalAclControl() {
  traceHandle.trace( 8, traceKey_, "handleGlobalAclControl" );
  Kiv::fatalUnless( pdConfig_->globalAclControl() == pdStatus()->globalAclControl(),
                    "pdConfig()->globalAclControl() == pdStatus()->globalAclControl()" );
  switch ( smState_ ) {
    case LoaderSmState::pdAcquireSuccess:
      return request( RequestState::load );
    case LoaderSmState::pdLoadSuccess:
      return doSetStatus( StageStatusType::finishedSuccess );
    case LoaderSmState::initial:
    case LoaderSmState::waitingForAcquire:
    case LoaderSmState::pdLocalFail:
    case LoaderSmState::pdAcquireFail:
    case LoaderSmState::waitingForRevert:
    case LoaderSmState::pdRevertSuccess:
      Kiv::fatal( "0 && \"reached invalid state for handleGlobalAclControl\"" );
  }
  Kiv::fatal( "0 && \"Invalid smState\"" );
}

// LoaderConfig

Kiv::Ptr<PrefixXformLoaderInfo> LoaderConfig::prefixXformLoaderInfoIs( PrefixXformKey key ) {
  return Kiv::instantiate( prefixXformLoaderInfo_, key );
}

Kiv::Ptr<RangeSplitLoaderInfo> LoaderConfig::rangeSplitLoaderInfoIs( RangeSetType type ) {
  return Kiv::instantiate( rangeSplitLoaderInfo_, type );
}

Kiv::Ptr<ComboLabelLoaderInfo> LoaderConfig::comboLabelLoaderInfoIs( ComboLabelSetType type ) {
  return Kiv::instantiate( comboLabelLoaderInfo_, type );
}

Kiv::Ptr<PDAclColl> const& LoaderConfig::ruleExpanderLoaderInfoIs() {
  if ( !ruleExpanderLoaderInfo_ ) ruleExpanderLoaderInfo_ = Kiv::make<PDAclColl>();
  return ruleExpanderLoaderInfo_;
}

}  // namespace Orvex
