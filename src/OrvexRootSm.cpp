#include "Orvex/OrvexRootSm.h"

#include "Kiv/System.h"
#include "Kiv/Trace.h"
#include "Orvex/OrvexAggregatorSm.h"
#include "Orvex/OrvexComboLabelResolverSm.h"
#include "Orvex/OrvexComboLabelSplitSm.h"
#include "Orvex/OrvexLabelEncoders.h"
#include "Orvex/OrvexLoaderSm.h"
#include "Orvex/OrvexPrefixXformSm.h"
#include "Orvex/OrvexRangeSplitSm.h"
#include "Orvex/OrvexRuleExpanderSm.h"
#include "Orvex/OrvexStageControllerSm.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexRootSm" );

Kiv::String traceName( Brae::ChipId chipId ) {
  Kiv::TextStream text;
  text << "OrvexRootSm(" << chipId << ")::";
  return text.str();
}

}  // namespace

class OrvexRootSm::KivRootConfig : public Kiv::Reactor<RootConfig::NotifieeConst, OrvexRootSm> {
 public:
  using Reactor::Reactor;
  void onOrvexKickTime() override { owner()->handleOrvexKickTime(); }
};

class OrvexRootSm::KivStageControllerStatus : public Kiv::Reactor<StageStatus::NotifieeConst, OrvexRootSm> {
 public:
  using Reactor::Reactor;
  void onStatus() override { owner()->handleStageStatus(); }
};

// Kicks

OrvexRootSm::OrvexRootSm( Brae::ChipId chipId, Kiv::Ptr<ChipHwCapability const> const& hwCapability,
                          Kiv::Ptr<RootConfig const> const& rootConfig, Kiv::Ptr<RootStatus> const& rootStatus,
                          Kiv::Ptr<AclConfigColl const> const& aclConfigColl,
                          Kiv::Ptr<Brae::ParamConfig const> const& aclParamConfig, Kiv::Ptr<PDConfig> const& pdConfig,
                          Kiv::Ptr<PDStatus const> const& pdStatus, Kiv::Ptr<Brae::TimerWheel> const& timer )
    : chipId_( chipId ),
      hwCapability_( hwCapability ),
      rootStatus_( rootStatus ),
      aclConfigColl_( aclConfigColl ),
      aclParamConfig_( aclParamConfig ),
      pdConfig_( pdConfig ),
      pdStatus_( pdStatus ),
      timer_( timer ? timer : Brae::TimerWheel::ofThisThread() ),
      traceKey_( traceName( chipId ) ),
      kivRootConfig_( Kiv::make<KivRootConfig>( this ) ),
      kivStageControllerStatus_( Kiv::make<KivStageControllerStatus>( this ) ) {
  kivRootConfig_->notifierIs( rootConfig );
  handleInitialized();
}

OrvexRootSm::~OrvexRootSm() = default;

Kiv::Ptr<RootConfig const> OrvexRootSm::rootConfig() const { return kivRootConfig_->notifier(); }

void OrvexRootSm::rootConfigIs( Kiv::Ptr<RootConfig const> const& config ) {
  if ( config == rootConfig() ) return;
  Kiv::Ptr<OrvexRootSm> const self( this );
  kivRootConfig_->notifierIs( config );
  if ( config && hasNotificationActive() ) handleOrvexKickTime();
}

/// The controller is kicked with the present time, so that every kick is new to it, also when the host repeats a time.
void OrvexRootSm::handleOrvexKickTime() {
  Kiv::Ptr<OrvexRootSm> const self( this );
  auto const config = rootConfig();
  traceHandle.trace( 8, traceKey_, "handleOrvexKickTime request ", config->orvexKickRequest(), " kick time ",
                     config->orvexKickTime() );
  rootStatus_->kickCountInc( 1 );
  rootStatus_->kickTimeIs( config->orvexKickTime() );
  if ( config->orvexKickRequest() == OrvexKickRequest::orvexStart ) {
    rootStatus_->kickMessageIs( Kiv::String() );
    rootStatus_->kickProgressIs( OrvexProgress::orvexRunning );
  }
  stageControllerConfig_->kickRequestIs( config->orvexKickRequest() );
  stageControllerConfig_->kickTimeIs( Kiv::System::currentTime() );
}

void OrvexRootSm::handleStageStatus() {
  Kiv::Ptr<OrvexRootSm> const self( this );
  StageStatusType const status = stageControllerStatus_->status();
  traceHandle.trace( 8, traceKey_, "handleStageStatus stageStatus ", status );
  if ( stageControllerConfig_->kickTime() != stageControllerStatus_->kickTime() ) return;
  switch ( status ) {
    case StageStatusType::init:
      return rootStatus_->kickProgressIs( OrvexProgress::orvexInitialized );
    case StageStatusType::inProgress:
      return rootStatus_->kickProgressIs( OrvexProgress::orvexRunning );
    case StageStatusType::finishedSuccess:
      return rootStatus_->kickProgressIs( OrvexProgress::orvexFinishedSuccess );
    case StageStatusType::finishedFailed:
      rootStatus_->kickMessageIs( Kiv::format(
          "Orvex failed at %s on chip %u",
          std::string( Kiv::stringValue( stageControllerStatus_->lastFailedStage() ) ).c_str(), chipId_.value() ) );
      return rootStatus_->kickProgressIs( OrvexProgress::orvexFinishedFail );
    case StageStatusType::cancelled:
      return rootStatus_->kickProgressIs( OrvexProgress::orvexCancelled );
    case StageStatusType::finishedSkipped:
    case StageStatusType::finishedNotEnabled:
      break;
  }
  Kiv::fatal( "false" );
}

// Start-up

/// Each config and status is entered as soon as it is made, so that the controller, which comes last, finds every stage.
void OrvexRootSm::handleInitialized() {
  traceHandle.trace( 8, traceKey_, "handleInitialized" );
  stageControllerConfig_ = Kiv::make<StageControllerConfig>();
  stageControllerStatus_ = Kiv::make<StageControllerStatus>();

  auto const aggregatorConfig = Kiv::make<AggregatorConfig>( aclConfigColl_ );
  aggregatorStatus_ = Kiv::make<AggregatorStatus>();
  aggregatorStatus_->handleInitialized();
  loaderConfig_ = Kiv::make<LoaderConfig>();
  auto const loaderStatus = Kiv::make<LoaderStatus>();
  ruleExpanderConfig_ = Kiv::make<RuleExpanderConfig>( aggregatorStatus_ );
  ruleExpanderConfig_->maxAclEntriesIs( hwCapability_->maxAclEntries() );
  auto const ruleExpanderStatus = Kiv::make<RuleExpanderStatus>( loaderConfig_->ruleExpanderLoaderInfoIs() );

  stageSmConfig_ = Kiv::make<StageSmConfig>();
  stageSmStatus_ = Kiv::make<StageSmStatus>();
  stageSmConfig_->aggregatorConfigIs( aggregatorConfig );
  stageSmStatus_->aggregatorStatusIs( aggregatorStatus_ );
  stageSmConfig_->ruleExpanderConfigIs( ruleExpanderConfig_ );
  stageSmStatus_->ruleExpanderStatusIs( ruleExpanderStatus );
  stageSmConfig_->loaderConfigIs( loaderConfig_ );
  stageSmStatus_->loaderStatusIs( loaderStatus );
  genSetKeyGen_ = Kiv::make<GenSetKeyGenerator>();

  for ( auto const af : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
    for ( bool const src : { true, false } ) buildPrefixStages( PrefixXformKey( af, src ) );
  for ( std::uint32_t type = 0; type != Kiv::enumValue( RangeSetType::rangeSetMax ); ++type )
    buildRangeStages( static_cast<RangeSetType>( type ) );
  for ( std::uint32_t type = 0; type != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++type )
    buildComboStages( static_cast<ComboLabelSetType>( type ) );

  addStage<AggregatorSm>( aggregatorConfig, aggregatorStatus_, hwCapability_, genSetKeyGen_ );
  addStage<RuleExpanderSm>( ruleExpanderConfig_, ruleExpanderStatus );
  addStage<LoaderSm>( loaderConfig_, loaderStatus, pdConfig_, pdStatus_, hwCapability_, aclParamConfig_ );
  stageController_ = orvexStageControllerSmFactory( chipId_, stageControllerConfig_, stageControllerStatus_,
                                                    stageSmConfig_, stageSmStatus_, timer_ );
  kivStageControllerStatus_->notifierIs( stageControllerStatus_ );
  initialized_ = true;
}

/// A stage that listens to its config.
template <class Stage, class... Parameters>
void OrvexRootSm::addStage( Parameters const&... parameters ) {
  auto const stage = Kiv::make<Stage>( chipId_, parameters... );
  stage->hasNotificationActiveIs( true );
  stages_.push_back( stage );
}

void OrvexRootSm::buildPrefixStages( PrefixXformKey key ) {
  auto const xformConfig = Kiv::make<PrefixXformConfig>( key, aggregatorStatus_->prefixInfoIs( key ) );
  auto const xformStatus = Kiv::make<PrefixXformStatus>( key );
  stageSmConfig_->prefixXformConfigIs( key, xformConfig );
  stageSmStatus_->prefixXformStatusIs( key, xformStatus );
  auto const encoderConfig = Kiv::make<EncoderConfig>( xformStatus );
  auto const encoderStatus = Kiv::make<PrefixEncoderStatus>( key, loaderConfig_->prefixXformLoaderInfoIs( key ) );
  stageSmConfig_->prefixEncoderConfigIs( key, encoderConfig );
  stageSmStatus_->prefixEncoderStatusIs( key, encoderStatus );
  ruleExpanderConfig_->prefixEncoderStatusIs( key, encoderStatus );
  prefixEncodings_.insert( key, Encoding{ xformStatus, encoderStatus } );
  addStage<OrvexPrefixXformSm>( xformConfig, xformStatus, hwCapability_, key );
  addStage<PrefixLabelEncoderSm>( encoderConfig, encoderStatus, aggregatorStatus_->genSetUsageInfo(), hwCapability_,
                                  key, xformStatus );
}

void OrvexRootSm::buildRangeStages( RangeSetType type ) {
  auto const aggregatorInfo = aggregatorStatus_->rangeSplitInfoIs( type );
  auto const splitConfig = Kiv::make<RangeSplitConfig>( type, aggregatorInfo );
  auto const splitStatus = Kiv::make<RangeSplitStatus>( type );
  stageSmConfig_->rangeSplitConfigIs( type, splitConfig );
  stageSmStatus_->rangeSplitStatusIs( type, splitStatus );
  auto const encoderConfig = Kiv::make<EncoderConfig>( splitStatus );
  auto const encoderStatus = Kiv::make<RangeEncoderStatus>( type, loaderConfig_->rangeSplitLoaderInfoIs( type ) );
  stageSmConfig_->rangeEncoderConfigIs( type, encoderConfig );
  stageSmStatus_->rangeEncoderStatusIs( type, encoderStatus );
  ruleExpanderConfig_->rangeEncoderStatusIs( type, encoderStatus );
  rangeEncodings_.insert( type, Encoding{ splitStatus, encoderStatus } );
  addStage<RangeSplitSm>( splitConfig, splitStatus, hwCapability_, type );
  addStage<RangeEncoderSm>( encoderConfig, encoderStatus, aggregatorStatus_->genSetUsageInfo(), hwCapability_, type,
                            splitStatus, aggregatorInfo );
}

void OrvexRootSm::buildComboStages( ComboLabelSetType type ) {
  bool const ports = type == ComboLabelSetType::srcDstL4Port;
  auto const af = type == ComboLabelSetType::ipv4SrcDstPrefix ? Vell::AddressFamily::ipv4 : Vell::AddressFamily::ipv6;
  Encoding const src =
      ports ? *rangeEncodings_.find( RangeSetType::srcPort ) : *prefixEncodings_.find( PrefixXformKey( af, true ) );
  Encoding const dst =
      ports ? *rangeEncodings_.find( RangeSetType::dstPort ) : *prefixEncodings_.find( PrefixXformKey( af, false ) );

  auto const resolverConfig = Kiv::make<ComboLabelResolverConfig>( type, src.xform, dst.xform, aggregatorStatus_ );
  auto const resolverStatus = Kiv::make<ComboLabelResolverStatus>( type );
  stageSmConfig_->comboLabelResolverConfigIs( type, resolverConfig );
  stageSmStatus_->comboLabelResolverStatusIs( type, resolverStatus );
  ruleExpanderConfig_->comboLabelInfoIs( type, resolverStatus->comboLabelInfo() );
  addStage<ComboLabelResolverSm>( resolverConfig, resolverStatus, hwCapability_, type, genSetKeyGen_ );

  auto const splitConfig = Kiv::make<ComboLabelSplitConfig>( type, resolverStatus->comboLabelInfo() );
  auto const splitStatus = Kiv::make<ComboLabelSplitStatus>( type );
  stageSmConfig_->comboLabelSplitConfigIs( type, splitConfig );
  stageSmStatus_->comboLabelSplitStatusIs( type, splitStatus );
  addStage<ComboLabelSplitSm>( splitConfig, splitStatus, hwCapability_, type );

  auto const encoderConfig = Kiv::make<EncoderConfig>( splitStatus );
  auto const encoderStatus = Kiv::make<ComboLabelEncoderStatus>( type, loaderConfig_->comboLabelLoaderInfoIs( type ) );
  stageSmConfig_->comboLabelEncoderConfigIs( type, encoderConfig );
  stageSmStatus_->comboLabelEncoderStatusIs( type, encoderStatus );
  ruleExpanderConfig_->comboLabelEncoderStatusIs( type, encoderStatus );
  addStage<ComboLabelEncoderSm>( encoderConfig, encoderStatus, resolverStatus->genSetUsageInfo(), hwCapability_, type,
                                 splitStatus, src.encoder, dst.encoder );
}

Kiv::Ptr<OrvexRootSm> orvexRootSmFactory( Brae::ChipId chipId, Kiv::Ptr<ChipHwCapability const> const& hwCapability,
                                          Kiv::Ptr<RootConfig const> const& rootConfig,
                                          Kiv::Ptr<RootStatus> const& rootStatus,
                                          Kiv::Ptr<AclConfigColl const> const& aclConfigColl,
                                          Kiv::Ptr<Brae::ParamConfig const> const& aclParamConfig,
                                          Kiv::Ptr<PDConfig> const& pdConfig, Kiv::Ptr<PDStatus const> const& pdStatus,
                                          Kiv::Ptr<Brae::TimerWheel> const& timer ) {
  auto root = Kiv::make<OrvexRootSm>( chipId, hwCapability, rootConfig, rootStatus, aclConfigColl, aclParamConfig,
                                      pdConfig, pdStatus, timer );
  root->hasNotificationActiveIs( true );
  return root;
}

}  // namespace Orvex
