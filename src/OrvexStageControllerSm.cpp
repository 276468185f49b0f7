#include "Orvex/OrvexStageControllerSm.h"

#include "Kiv/System.h"
#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexStageControllerSm" );

constexpr std::string_view kUnknownStage = "false && \"unknown stage\"";

void kickMember( Kiv::Ptr<StageConfig> const& config, double kickTime ) {
  Kiv::fatalUnless( config != nullptr, "every stage and every member of a stage has a config" );
  config->kickTimeIs( kickTime );
}

}  // namespace

/// Follows the stages' statuses that are added and removed.
class OrvexStageControllerSm::KivStageStatus
    : public Kiv::Reactor<StageSmStatus::NotifieeConst, OrvexStageControllerSm> {
 public:
  using Reactor::Reactor;

  void onAggregatorStatus() override {
    owner()->watch( owner()->kivAggregatorStatus_, notifier()->aggregatorStatus() );
  }
  void onPrefixXformStatus() override {
    owner()->watchMembers( owner()->kivPrefixXformStatus_, notifier()->prefixXformStatus() );
  }
  void onPrefixXformStatus( PrefixXformKey key ) override {
    owner()->watchMember( owner()->kivPrefixXformStatus_, notifier()->prefixXformStatus(), key );
  }
  void onRangeSplitStatus() override {
    owner()->watchMembers( owner()->kivRangeSplitStatus_, notifier()->rangeSplitStatus() );
  }
  void onRangeSplitStatus( RangeSetType key ) override {
    owner()->watchMember( owner()->kivRangeSplitStatus_, notifier()->rangeSplitStatus(), key );
  }
  void onComboLabelResolverStatus() override {
    owner()->watchMembers( owner()->kivComboLabelResolverStatus_, notifier()->comboLabelResolverStatus() );
  }
  void onComboLabelResolverStatus( ComboLabelSetType key ) override {
    owner()->watchMember( owner()->kivComboLabelResolverStatus_, notifier()->comboLabelResolverStatus(), key );
  }
  void onComboLabelSplitStatus() override {
    owner()->watchMembers( owner()->kivComboLabelSplitStatus_, notifier()->comboLabelSplitStatus() );
  }
  void onComboLabelSplitStatus( ComboLabelSetType key ) override {
    owner()->watchMember( owner()->kivComboLabelSplitStatus_, notifier()->comboLabelSplitStatus(), key );
  }
  void onPrefixEncoderStatus() override {
    owner()->watchMembers( owner()->kivPrefixEncoderStatus_, notifier()->prefixEncoderStatus() );
  }
  void onPrefixEncoderStatus( PrefixXformKey key ) override {
    owner()->watchMember( owner()->kivPrefixEncoderStatus_, notifier()->prefixEncoderStatus(), key );
  }
  void onRangeEncoderStatus() override {
    owner()->watchMembers( owner()->kivRangeEncoderStatus_, notifier()->rangeEncoderStatus() );
  }
  void onRangeEncoderStatus( RangeSetType key ) override {
    owner()->watchMember( owner()->kivRangeEncoderStatus_, notifier()->rangeEncoderStatus(), key );
  }
  void onComboLabelEncoderStatus() override {
    owner()->watchMembers( owner()->kivComboLabelEncoderStatus_, notifier()->comboLabelEncoderStatus() );
  }
  void onComboLabelEncoderStatus( ComboLabelSetType key ) override {
    owner()->watchMember( owner()->kivComboLabelEncoderStatus_, notifier()->comboLabelEncoderStatus(), key );
  }
  void onRuleExpanderStatus() override {
    owner()->watch( owner()->kivRuleExpanderStatus_, notifier()->ruleExpanderStatus() );
  }
  void onLoaderStatus() override { owner()->watch( owner()->kivLoaderStatus_, notifier()->loaderStatus() ); }
};

/// Follows one stage's status, or one member's of a keyed stage.
class OrvexStageControllerSm::KivMemberStatus
    : public Kiv::Reactor<StageStatus::NotifieeConst, OrvexStageControllerSm> {
 public:
  using Reactor::Reactor;
  void onStatus() override { owner()->handleStatus( notifier()->status() ); }
};

class OrvexStageControllerSm::KivTimer : public Kiv::Reactor<Brae::TimerWheel::NotifieeConst, OrvexStageControllerSm> {
 public:
  using Reactor::Reactor;
  void onTime() override { owner()->doReview(); }
};

// Start-up

OrvexStageControllerSm::OrvexStageControllerSm( Brae::ChipId chipId,
                                                Kiv::Ptr<StageControllerConfig const> const& config,
                                                Kiv::Ptr<StageControllerStatus> const& status,
                                                Kiv::Ptr<StageSmConfig> const& stageSmConfig,
                                                Kiv::Ptr<StageSmStatus const> const& stageSmStatus,
                                                Kiv::Ptr<Brae::TimerWheel> const& timer )
    : StageSm( chipId, config, status ),
      stageSmConfig_( stageSmConfig ),
      kivTimer_( Kiv::make<KivTimer>( this ) ),
      kivStageStatus_( Kiv::make<KivStageStatus>( this ) ) {
  Kiv::TextStream prefix;
  prefix << "OrvexStageControllerSm(" << chipId << ")::";
  tracePrefix_ = prefix.str();
  kivStageStatus_->notifierIs( stageSmStatus );
  kivTimer_->notifierIs( timer );
  watchEveryStatus();
}

OrvexStageControllerSm::~OrvexStageControllerSm() = default;

void OrvexStageControllerSm::handleInitialized() {
  traceHandle.trace( 8, tracePrefix_, "handleInitialized" );
  initializedIs( true );
}

Kiv::Ptr<OrvexStageControllerSm> orvexStageControllerSmFactory( Brae::ChipId chipId,
                                                                Kiv::Ptr<StageControllerConfig const> const& config,
                                                                Kiv::Ptr<StageControllerStatus> const& status,
                                                                Kiv::Ptr<StageSmConfig> const& stageSmConfig,
                                                                Kiv::Ptr<StageSmStatus const> const& stageSmStatus,
                                                                Kiv::Ptr<Brae::TimerWheel> const& timer ) {
  auto controller = Kiv::make<OrvexStageControllerSm>( chipId, config, status, stageSmConfig, stageSmStatus, timer );
  controller->handleInitialized();
  controller->hasNotificationActiveIs( true );
  return controller;
}

Kiv::Ptr<StageSmStatus const> OrvexStageControllerSm::stageSmStatus() const { return kivStageStatus_->notifier(); }

Kiv::Ptr<StageControllerConfig const> OrvexStageControllerSm::controllerConfig() const {
  return Kiv::ptrCast<StageControllerConfig const>( config() );
}

bool OrvexStageControllerSm::ready() const { return initialized() && config(); }

// Kicks and transitions

void OrvexStageControllerSm::doStartKick() {
  traceHandle.trace( 8, tracePrefix_, "doStartKick" );
  if ( !ready() ) return;
  if ( controllerConfig()->kickRequest() == OrvexKickRequest::orvexCancel ) {
    Kiv::fatalUnless( status()->status() == StageStatusType::inProgress, "status()->status() == inProgress_" );
    scheduleReview();
    return;
  }
  activeStageIs( OrvexActiveStage::stageInit );
  transitStage();
}

void OrvexStageControllerSm::transitStage() {
  traceHandle.trace( 8, tracePrefix_, "transitStage" );
  if ( !ready() ) return;
  if ( controllerConfig()->kickRequest() == OrvexKickRequest::orvexCancel ) {
    traceHandle.trace( 4, "This round of orvex kick is cancelled" );
    doSetStatus( StageStatusType::cancelled );
    return;
  }
  OrvexActiveStage const left = activeStage();
  Kiv::fatalUnless( left <= OrvexActiveStage::stageLoader, kUnknownStage );
  traceHandle.trace( 4, "[", chipId(), "] Ready to transit out of ", left );
  activeStageIs( left == OrvexActiveStage::stageLoader ? OrvexActiveStage::stageInit
                                                       : static_cast<OrvexActiveStage>( Kiv::enumValue( left ) + 1 ) );
  traceHandle.trace( 4, "[", chipId(), "] Transited from ", left, " to ", activeStage() );
  if ( activeStage() != OrvexActiveStage::stageInit )
    kickStage( activeStage() );
  else if ( config()->kickTime() != status()->kickTime() )
    scheduleReview();
  else
    doSetStatus( StageStatusType::finishedSuccess );
}

void OrvexStageControllerSm::kickStage( OrvexActiveStage stage ) {
  // A stage may finish at once, and whoever hears of it may start a newer kick: this one goes on with its own time.
  double const kickTime = status()->kickTime();
  switch ( stage ) {
    case OrvexActiveStage::stageInit:
      return;
    case OrvexActiveStage::stageAggregator:
      return kickMember( stageSmConfig_->aggregatorConfig(), kickTime );
    case OrvexActiveStage::stagePrefixXform:
      return kickMembers( stageSmConfig_->prefixXformConfig(), stageSmStatus()->prefixXformStatus(), kickTime );
    case OrvexActiveStage::stageRangeSplit:
      return kickMembers( stageSmConfig_->rangeSplitConfig(), stageSmStatus()->rangeSplitStatus(), kickTime );
    case OrvexActiveStage::stageComboLabelResolver:
      return kickMembers( stageSmConfig_->comboLabelResolverConfig(), stageSmStatus()->comboLabelResolverStatus(),
                          kickTime );
    case OrvexActiveStage::stageComboLabelSplit:
      return kickMembers( stageSmConfig_->comboLabelSplitConfig(), stageSmStatus()->comboLabelSplitStatus(), kickTime );
    case OrvexActiveStage::stagePrefixEncoder:
      return kickMembers( stageSmConfig_->prefixEncoderConfig(), stageSmStatus()->prefixEncoderStatus(), kickTime );
    case OrvexActiveStage::stageRangeEncoder:
      return kickMembers( stageSmConfig_->rangeEncoderConfig(), stageSmStatus()->rangeEncoderStatus(), kickTime );
    case OrvexActiveStage::stageComboLabelEncoder:
      return kickMembers( stageSmConfig_->comboLabelEncoderConfig(), stageSmStatus()->comboLabelEncoderStatus(),
                          kickTime );
    case OrvexActiveStage::stageRuleExpander:
      return kickMember( stageSmConfig_->ruleExpanderConfig(), kickTime );
    case OrvexActiveStage::stageLoader:
      return kickMember( stageSmConfig_->loaderConfig(), kickTime );
  }
}

template <class Key>
void OrvexStageControllerSm::kickMembers( Kiv::HashMap2018<Key, Kiv::Ptr<StageConfig>> const& configs,
                                          Kiv::HashMap2018<Key, Kiv::Ptr<StageStatus const>> const& statuses,
                                          double kickTime ) {
  if ( configs.empty() || statuses.empty() ) scheduleReview();
  for ( auto at = configs.begin(); at; ++at ) kickMember( at.value(), kickTime );
}

// Reviews

void OrvexStageControllerSm::handleStatus( StageStatusType status ) {
  traceHandle.trace( 8, tracePrefix_, "handleStatus ", status );
  scheduleReview();
}

void OrvexStageControllerSm::scheduleReview() {
  traceHandle.trace( 8, tracePrefix_, "scheduleReview" );
  if ( !ready() ) return;
  kivTimer_->timeMinIs( Kiv::System::currentTime() );
}

void OrvexStageControllerSm::doReview() {
  traceHandle.trace( 8, tracePrefix_, "doReview" );
  if ( !ready() ) return;
  if ( controllerConfig()->kickRequest() == OrvexKickRequest::orvexCancel ) {
    traceHandle.trace( 4, "[", chipId(), "] This round of orvex kick is cancelled" );
    doSetStatus( StageStatusType::cancelled );
    return;
  }
  if ( activeStage() == OrvexActiveStage::stageInit ) {
    transitStage();
    return;
  }

  StageStatusType const result = activeStageResult();
  if ( result == StageStatusType::finishedFailed ) {
    traceHandle.trace( 0, "Stage ", activeStage(), " for chip ", chipId(), " failed" );
    double const failedKickTime = status()->kickTime();
    Kiv::ptrCast<StageControllerStatus>( status() )->lastFailedStageIs( activeStage() );
    if ( status()->kickTime() != failedKickTime ) return;  // whoever heard of it has started a newer kick
    activeStageIs( OrvexActiveStage::stageInit );
    doSetStatus( StageStatusType::finishedFailed );
  } else if ( result == StageStatusType::inProgress ) {
    traceHandle.trace( 1, "Stage ", activeStage(), " for chip ", chipId(), " is still running" );
  } else if ( result == StageStatusType::init ) {
    traceHandle.trace( 1, "Stage ", activeStage(), " for chip ", chipId(), " is initializing" );
  } else {
    transitStage();
  }
}

StageStatusType OrvexStageControllerSm::activeStageResult() const {
  switch ( activeStage() ) {
    case OrvexActiveStage::stageInit:
      return StageStatusType::init;
    case OrvexActiveStage::stageAggregator:
      return doCheckStageStatus( stageSmStatus()->aggregatorStatus() );
    case OrvexActiveStage::stagePrefixXform:
      return doCheckPrefixXformStatus();
    case OrvexActiveStage::stageRangeSplit:
      return doCheckRangeSplitStatus();
    case OrvexActiveStage::stageComboLabelResolver:
      return doCheckComboLabelResolverStatus();
    case OrvexActiveStage::stageComboLabelSplit:
      return doCheckComboLabelSplitStatus();
    case OrvexActiveStage::stagePrefixEncoder:
      return doCheckPrefixEncoderStatus();
    case OrvexActiveStage::stageRangeEncoder:
      return doCheckRangeEncoderStatus();
    case OrvexActiveStage::stageComboLabelEncoder:
      return doCheckComboLabelEncoderStatus();
    case OrvexActiveStage::stageRuleExpander:
      return doCheckStageStatus( stageSmStatus()->ruleExpanderStatus() );
    case OrvexActiveStage::stageLoader:
      return doCheckStageStatus( stageSmStatus()->loaderStatus() );
  }
  Kiv::fatal( kUnknownStage );
}

StageStatusType OrvexStageControllerSm::doCheckStageStatus( Kiv::Ptr<StageStatus const> const& member ) const {
  if ( !member || member->kickTime() != status()->kickTime() ) return StageStatusType::init;
  return member->status();
}

template <class Key>
StageStatusType OrvexStageControllerSm::doCheckStageStatuses(
    Kiv::HashMap2018<Key, Kiv::Ptr<StageStatus const>> const& members ) const {
  for ( auto at = members.begin(); at; ++at ) {
    StageStatusType const result = doCheckStageStatus( at.value() );
    if ( result != StageStatusType::finishedSuccess ) return result;
  }
  return StageStatusType::finishedSuccess;
}

StageStatusType OrvexStageControllerSm::doCheckPrefixXformStatus() const {
  return doCheckStageStatuses( stageSmStatus()->prefixXformStatus() );
}

StageStatusType OrvexStageControllerSm::doCheckRangeSplitStatus() const {
  return doCheckStageStatuses( stageSmStatus()->rangeSplitStatus() );
}

StageStatusType OrvexStageControllerSm::doCheckComboLabelResolverStatus() const {
  return doCheckStageStatuses( stageSmStatus()->comboLabelResolverStatus() );
}

StageStatusType OrvexStageControllerSm::doCheckComboLabelSplitStatus() const {
  return doCheckStageStatuses( stageSmStatus()->comboLabelSplitStatus() );
}

StageStatusType OrvexStageControllerSm::doCheckPrefixEncoderStatus() const {
  return doCheckStageStatuses( stageSmStatus()->prefixEncoderStatus() );
}

StageStatusType OrvexStageControllerSm::doCheckRangeEncoderStatus() const {
  return doCheckStageStatuses( stageSmStatus()->rangeEncoderStatus() );
}

StageStatusType OrvexStageControllerSm::doCheckComboLabelEncoderStatus() const {
  return doCheckStageStatuses( stageSmStatus()->comboLabelEncoderStatus() );
}

// Watching the stages

void OrvexStageControllerSm::watchEveryStatus() {
  auto const statuses = stageSmStatus();
  watch( kivAggregatorStatus_, statuses->aggregatorStatus() );
  watchMembers( kivPrefixXformStatus_, statuses->prefixXformStatus() );
  watchMembers( kivRangeSplitStatus_, statuses->rangeSplitStatus() );
  watchMembers( kivComboLabelResolverStatus_, statuses->comboLabelResolverStatus() );
  watchMembers( kivComboLabelSplitStatus_, statuses->comboLabelSplitStatus() );
  watchMembers( kivPrefixEncoderStatus_, statuses->prefixEncoderStatus() );
  watchMembers( kivRangeEncoderStatus_, statuses->rangeEncoderStatus() );
  watchMembers( kivComboLabelEncoderStatus_, statuses->comboLabelEncoderStatus() );
  watch( kivRuleExpanderStatus_, statuses->ruleExpanderStatus() );
  watch( kivLoaderStatus_, statuses->loaderStatus() );
}

void OrvexStageControllerSm::watch( Kiv::Ptr<KivMemberStatus>& reactor, Kiv::Ptr<StageStatus const> const& status ) {
  if ( !status ) {
    // The kick may have waited for the one that has gone. Between kicks there is nothing to review.
    if ( reactor && activeStage() != OrvexActiveStage::stageInit ) scheduleReview();
    reactor = nullptr;
    return;
  }
  if ( reactor && reactor->notifier() == status ) return;
  reactor = Kiv::make<KivMemberStatus>( this );
  reactor->notifierIs( status );
  handleStatus( status->status() );
}

template <class Key>
void OrvexStageControllerSm::watchMember( KivMemberStatuses<Key>& reactors,
                                          Kiv::HashMap2018<Key, Kiv::Ptr<StageStatus const>> const& statuses,
                                          Key key ) {
  auto reactor = reactors.find( key );
  watch( reactor, statuses.find( key ) );
  if ( reactor )
    reactors.set( key, reactor );
  else
    reactors.erase( key );
}

template <class Key>
void OrvexStageControllerSm::watchMembers( KivMemberStatuses<Key>& reactors,
                                           Kiv::HashMap2018<Key, Kiv::Ptr<StageStatus const>> const& statuses ) {
  for ( auto at = reactors.begin(); at; ++at ) watchMember( reactors, statuses, at.key() );
  for ( auto at = statuses.begin(); at; ++at ) watchMember( reactors, statuses, at.key() );
}

}  // namespace Orvex
