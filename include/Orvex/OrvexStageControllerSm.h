#pragma once

/// Carries one kick of one chip through the stages of the pipeline, in the order of OrvexActiveStage.
///
/// It kicks a stage by writing the kick time into the stage's config (into every member's, where a stage runs once per
/// key), waits until the stage's status for that time is final, and goes on. It never sees what a stage computed.
///
///     doStartKick -> transitStage: kick stageAggregator
///     status changes -> scheduleReview -> (next service of the wheel) doReview -> transitStage: kick stagePrefixXform
///     ...
///     status of stageLoader final -> doReview -> transitStage: stageInit, "finishedSuccess"
///
/// Invariants:
///  1. Reviews run from the timer wheel, never inside a stage's notification. Many changes before a service, one review.
///  2. A status that carries another kick time than the controller's reads as "init": the stage has not started yet.
///  3. In a keyed stage the first member in iteration order that is not "finishedSuccess" decides, whatever later ones
///     say. So a skipped member hides a failed one behind it; whoever needs to know looks at every member's status.
///  4. A failure ends the kick and returns to stageInit; a cancel ends it at the next review or transition and leaves
///     the stage where it is; a new start begins again at stageInit at once. None of them touches a stage that is running.
///
/// A stage without members passes as "finishedSuccess": nothing would ever change a status of it, so kicking it
/// schedules the review that passes it. So does taking away a status that a kick may be waiting for.
///
/// A status that changes after the kick has ended leads to a review too, and a review at stageInit begins to walk the
/// stages again, under the time of the ended kick: no stage starts work, but the walk may end in a report of its own.
/// Whoever kicks takes the first report of a kick as the last. While notification is off, statuses that come and go are
/// not followed.

#include "Brae/TimerWheel.h"
#include "Kiv/HashMap2018.h"
#include "Orvex/OrvexStageControllerTypes.h"

namespace Orvex {

class OrvexStageControllerSm : public StageSm {
 public:
  OrvexStageControllerSm( Brae::ChipId chipId, Kiv::Ptr<StageControllerConfig const> const& config,
                          Kiv::Ptr<StageControllerStatus> const& status, Kiv::Ptr<StageSmConfig> const& stageSmConfig,
                          Kiv::Ptr<StageSmStatus const> const& stageSmStatus, Kiv::Ptr<Brae::TimerWheel> const& timer );
  ~OrvexStageControllerSm() override;

  Kiv::Ptr<StageSmConfig> const& stageSmConfig() const { return stageSmConfig_; }
  Kiv::Ptr<StageSmStatus const> stageSmStatus() const;

  OrvexActiveStage activeStage() const { return activeStage_; }
  /// Fails with: a fatal check at the next review or transition, when `stage` is no stage.
  void activeStageIs( OrvexActiveStage stage ) { activeStage_ = stage; }

  /// Nothing is reviewed, kicked or scheduled before this is set.
  bool initialized() const { return initialized_; }
  void initializedIs( bool initialized ) { initialized_ = initialized; }

  void handleInitialized();

  void configIs( Kiv::Ptr<StageControllerConfig const> const& config ) { StageSm::configIs( config ); }

 protected:
  void doStartKick() override;

 private:
  class KivStageStatus;
  class KivMemberStatus;
  class KivTimer;
  template <class Key>
  using KivMemberStatuses = Kiv::HashMap2018<Key, Kiv::Ptr<KivMemberStatus>>;

  Kiv::Ptr<StageControllerConfig const> controllerConfig() const;
  /// Initialised, and bound to a config that says what to do.
  bool ready() const;

  void transitStage();
  void kickStage( OrvexActiveStage stage );
  template <class Key>
  void kickMembers( Kiv::HashMap2018<Key, Kiv::Ptr<StageConfig>> const& configs,
                    Kiv::HashMap2018<Key, Kiv::Ptr<StageStatus const>> const& statuses, double kickTime );

  void scheduleReview();
  void doReview();
  StageStatusType activeStageResult() const;
  StageStatusType doCheckStageStatus( Kiv::Ptr<StageStatus const> const& member ) const;
  template <class Key>
  StageStatusType doCheckStageStatuses( Kiv::HashMap2018<Key, Kiv::Ptr<StageStatus const>> const& members ) const;
  StageStatusType doCheckPrefixXformStatus() const;
  StageStatusType doCheckRangeSplitStatus() const;
  StageStatusType doCheckComboLabelResolverStatus() const;
  StageStatusType doCheckComboLabelSplitStatus() const;
  StageStatusType doCheckPrefixEncoderStatus() const;
  StageStatusType doCheckRangeEncoderStatus() const;
  StageStatusType doCheckComboLabelEncoderStatus() const;

  void handleStatus( StageStatusType status );
  void watchEveryStatus();
  void watch( Kiv::Ptr<KivMemberStatus>& reactor, Kiv::Ptr<StageStatus const> const& status );
  template <class Key>
  void watchMember( KivMemberStatuses<Key>& reactors,
                    Kiv::HashMap2018<Key, Kiv::Ptr<StageStatus const>> const& statuses, Key key );
  template <class Key>
  void watchMembers( KivMemberStatuses<Key>& reactors,
                     Kiv::HashMap2018<Key, Kiv::Ptr<StageStatus const>> const& statuses );

  Kiv::String tracePrefix_;
  Kiv::Ptr<StageSmConfig> stageSmConfig_;
  OrvexActiveStage activeStage_ = OrvexActiveStage::stageInit;
  bool initialized_ = false;

  Kiv::Ptr<KivTimer> kivTimer_;
  Kiv::Ptr<KivStageStatus> kivStageStatus_;
  Kiv::Ptr<KivMemberStatus> kivAggregatorStatus_;
  KivMemberStatuses<PrefixXformKey> kivPrefixXformStatus_;
  KivMemberStatuses<RangeSetType> kivRangeSplitStatus_;
  KivMemberStatuses<ComboLabelSetType> kivComboLabelResolverStatus_;
  KivMemberStatuses<ComboLabelSetType> kivComboLabelSplitStatus_;
  KivMemberStatuses<PrefixXformKey> kivPrefixEncoderStatus_;
  KivMemberStatuses<RangeSetType> kivRangeEncoderStatus_;
  KivMemberStatuses<ComboLabelSetType> kivComboLabelEncoderStatus_;
  Kiv::Ptr<KivMemberStatus> kivRuleExpanderStatus_;
  Kiv::Ptr<KivMemberStatus> kivLoaderStatus_;
};

/// A controller that listens to its config and to every stage's status.
Kiv::Ptr<OrvexStageControllerSm> orvexStageControllerSmFactory( Brae::ChipId chipId,
                                                                Kiv::Ptr<StageControllerConfig const> const& config,
                                                                Kiv::Ptr<StageControllerStatus> const& status,
                                                                Kiv::Ptr<StageSmConfig> const& stageSmConfig,
                                                                Kiv::Ptr<StageSmStatus const> const& stageSmStatus,
                                                                Kiv::Ptr<Brae::TimerWheel> const& timer );

}  // namespace Orvex
