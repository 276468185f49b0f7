#pragma once

/// The compiler of one chip: what a host makes, kicks and watches.
///
///     auto root = orvexRootSmFactory( chipId, capability, rootConfig, rootStatus, acls, parameters, pdConfig, pdStatus );
///     rootConfig->orvexKickTimeIs( now );                  // the policy in `acls` is compiled, published and loaded
///     while ( wheel->due() ) wheel->service();             // the pipeline goes on from the timer wheel
///     rootStatus->kickProgress();                          // orvexFinishedSuccess
///
/// The root makes every stage, once, and connects each to those whose results it reads: its config points at their statuses.
/// It passes each kick to the stage controller, with a time of its own, and turns the controller's status into progress.
///
/// A pipeline is meant for one version of a policy and one kick: stages skip what they believe unchanged, rules are shared
/// between snapshots, and a failed member of a keyed stage can hide behind a skipped one. So build a root for each version
/// and destroy it when its kick has ended, outside any notification, before the next is built. Whoever must know that no
/// stage failed looks at `stageSmStatus`, every member's status of this kick.
///
/// Everything of a chip runs on one thread. Chips on several threads share nothing but policies and strings, for which
/// threadSafePointers is on before the second thread starts.

#include <vector>

#include "Brae/ParamConfig.h"
#include "Brae/TimerWheel.h"
#include "Kiv/StateMachine.h"
#include "Orvex/OrvexAclTypes.h"
#include "Orvex/OrvexHwCapability.h"
#include "Orvex/OrvexPDTypes.h"
#include "Orvex/OrvexRootTypes.h"
#include "Orvex/OrvexStageControllerTypes.h"

namespace Orvex {

class AggregatorStatus;
class EncoderStatus;
class GenSetKeyGenerator;
class LoaderConfig;
class OrvexStageControllerSm;
class RuleExpanderConfig;
class XformStatus;

class OrvexRootSm : public Kiv::StateMachine {
 public:
  /// Use the factory, which also lets changes in. `timer` is null for the calling thread's own wheel.
  OrvexRootSm( Brae::ChipId chipId, Kiv::Ptr<ChipHwCapability const> const& hwCapability,
               Kiv::Ptr<RootConfig const> const& rootConfig, Kiv::Ptr<RootStatus> const& rootStatus,
               Kiv::Ptr<AclConfigColl const> const& aclConfigColl,
               Kiv::Ptr<Brae::ParamConfig const> const& aclParamConfig, Kiv::Ptr<PDConfig> const& pdConfig,
               Kiv::Ptr<PDStatus const> const& pdStatus, Kiv::Ptr<Brae::TimerWheel> const& timer );
  ~OrvexRootSm() override;

  Brae::ChipId chipId() const { return chipId_; }
  Kiv::Ptr<RootStatus> const& rootStatus() const { return rootStatus_; }
  bool initialized() const { return initialized_; }

  Kiv::Ptr<RootConfig const> rootConfig() const;
  /// Binds to another config, which is a kick. The config already bound changes nothing.
  void rootConfigIs( Kiv::Ptr<RootConfig const> const& config );

  /// The status of every stage, and of every member of a keyed stage.
  Kiv::Ptr<StageSmStatus const> stageSmStatus() const { return stageSmStatus_; }
  Kiv::Ptr<StageControllerStatus const> stageControllerStatus() const { return stageControllerStatus_; }

 private:
  class KivRootConfig;
  class KivStageControllerStatus;

  /// The statuses of a transform and its encoder, which combinations are made of.
  struct Encoding {
    Kiv::Ptr<XformStatus> xform;
    Kiv::Ptr<EncoderStatus> encoder;
  };

  void handleInitialized();
  void handleOrvexKickTime();
  void handleStageStatus();

  void buildPrefixStages( PrefixXformKey key );
  void buildRangeStages( RangeSetType type );
  void buildComboStages( ComboLabelSetType type );
  template <class Stage, class... Parameters>
  void addStage( Parameters const&... parameters );

  Brae::ChipId chipId_;
  Kiv::Ptr<ChipHwCapability const> hwCapability_;
  Kiv::Ptr<RootStatus> rootStatus_;
  Kiv::Ptr<AclConfigColl const> aclConfigColl_;
  Kiv::Ptr<Brae::ParamConfig const> aclParamConfig_;
  Kiv::Ptr<PDConfig> pdConfig_;
  Kiv::Ptr<PDStatus const> pdStatus_;
  Kiv::Ptr<Brae::TimerWheel> timer_;
  bool initialized_ = false;
  Kiv::String traceKey_;

  Kiv::Ptr<StageControllerConfig> stageControllerConfig_;
  Kiv::Ptr<StageControllerStatus> stageControllerStatus_;
  Kiv::Ptr<StageSmConfig> stageSmConfig_;
  Kiv::Ptr<StageSmStatus> stageSmStatus_;
  Kiv::Ptr<AggregatorStatus> aggregatorStatus_;
  Kiv::Ptr<LoaderConfig> loaderConfig_;
  Kiv::Ptr<RuleExpanderConfig> ruleExpanderConfig_;
  Kiv::Ptr<GenSetKeyGenerator> genSetKeyGen_;
  Kiv::HashMap2018<PrefixXformKey, Encoding> prefixEncodings_;
  Kiv::HashMap2018<RangeSetType, Encoding> rangeEncodings_;
  std::vector<Kiv::Ptr<StageSm>> stages_;
  Kiv::Ptr<OrvexStageControllerSm> stageController_;

  Kiv::Ptr<KivRootConfig> kivRootConfig_;
  Kiv::Ptr<KivStageControllerStatus> kivStageControllerStatus_;
};

/// A root that is ready for its first kick.
Kiv::Ptr<OrvexRootSm> orvexRootSmFactory( Brae::ChipId chipId, Kiv::Ptr<ChipHwCapability const> const& hwCapability,
                                          Kiv::Ptr<RootConfig const> const& rootConfig,
                                          Kiv::Ptr<RootStatus> const& rootStatus,
                                          Kiv::Ptr<AclConfigColl const> const& aclConfigColl,
                                          Kiv::Ptr<Brae::ParamConfig const> const& aclParamConfig,
                                          Kiv::Ptr<PDConfig> const& pdConfig, Kiv::Ptr<PDStatus const> const& pdStatus,
                                          Kiv::Ptr<Brae::TimerWheel> const& timer = nullptr );

}  // namespace Orvex
