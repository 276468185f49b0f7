#pragma once

/// The entities around the stage controller: its own config and status, and the two entities that hold every stage's.

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "Kiv/HashMap2018.h"
#include "Orvex/OrvexGenSetValues.h"
#include "Orvex/OrvexStageSm.h"

namespace Orvex {

/// What a kick asks for.
enum class OrvexKickRequest : std::uint32_t { orvexStart, orvexCancel };

inline constexpr std::array<std::string_view, 2> kOrvexKickRequestNames = { "orvexStart", "orvexCancel" };
static_assert( kOrvexKickRequestNames.size() == Kiv::enumValue( OrvexKickRequest::orvexCancel ) + 1 );
constexpr std::span<std::string_view const> enumNames( OrvexKickRequest ) { return kOrvexKickRequestNames; }
inline OrvexKickRequest OrvexKickRequestInstance( Kiv::String const& name ) {
  return Kiv::enumInstance<OrvexKickRequest>( name );
}

/// The stages in the order of the pipeline. "stageInit" stands before the first and after the last.
enum class OrvexActiveStage : std::uint32_t {
  stageInit,
  stageAggregator,
  stagePrefixXform,
  stageRangeSplit,
  stageComboLabelResolver,
  stageComboLabelSplit,
  stagePrefixEncoder,
  stageRangeEncoder,
  stageComboLabelEncoder,
  stageRuleExpander,
  stageLoader
};

inline constexpr std::array<std::string_view, 11> kOrvexActiveStageNames = { "stageInit",
                                                                             "stageAggregator",
                                                                             "stagePrefixXform",
                                                                             "stageRangeSplit",
                                                                             "stageComboLabelResolver",
                                                                             "stageComboLabelSplit",
                                                                             "stagePrefixEncoder",
                                                                             "stageRangeEncoder",
                                                                             "stageComboLabelEncoder",
                                                                             "stageRuleExpander",
                                                                             "stageLoader" };
static_assert( kOrvexActiveStageNames.size() == Kiv::enumValue( OrvexActiveStage::stageLoader ) + 1 );
constexpr std::span<std::string_view const> enumNames( OrvexActiveStage ) { return kOrvexActiveStageNames; }
inline OrvexActiveStage OrvexActiveStageInstance( Kiv::String const& name ) {
  return Kiv::enumInstance<OrvexActiveStage>( name );
}

/// What the controller is told. Written by the root: the request before the kick time.
class StageControllerConfig : public StageConfig {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<StageControllerConfig, StageConfig::NotifieeConst> {
   public:
    virtual void onKickRequest() {}
  };

  OrvexKickRequest kickRequest() const { return kickRequest_; }
  void kickRequestIs( OrvexKickRequest request ) { set( kickRequest_, request, &NotifieeConst::onKickRequest ); }

 private:
  OrvexKickRequest kickRequest_ = OrvexKickRequest::orvexStart;
};

/// What the controller reports. Written only by the controller.
class StageControllerStatus : public StageStatus {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<StageControllerStatus, StageStatus::NotifieeConst> {
   public:
    virtual void onLastFailedStage() {}
  };

  /// The stage that ended the last failed kick; kept through later successful ones.
  OrvexActiveStage lastFailedStage() const { return lastFailedStage_; }
  void lastFailedStageIs( OrvexActiveStage stage ) {
    set( lastFailedStage_, stage, &NotifieeConst::onLastFailedStage );
  }

 private:
  OrvexActiveStage lastFailedStage_ = OrvexActiveStage::stageInit;
};

/// Every stage's config. Written by the root, read by the controller when it kicks; nobody watches it.
class StageSmConfig : public Kiv::Entity {
 public:
  Kiv::Ptr<StageConfig> const& aggregatorConfig() const { return aggregatorConfig_; }
  void aggregatorConfigIs( Kiv::Ptr<StageConfig> const& config ) { aggregatorConfig_ = config; }
  void aggregatorConfigDel() { aggregatorConfig_ = nullptr; }

  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<StageConfig>> const& prefixXformConfig() const {
    return prefixXformConfig_;
  }
  Kiv::Ptr<StageConfig> prefixXformConfigIs( PrefixXformKey key, Kiv::Ptr<StageConfig> const& config ) {
    prefixXformConfig_.set( key, config );
    return config;
  }
  void prefixXformConfigDel( PrefixXformKey key ) { prefixXformConfig_.erase( key ); }
  void prefixXformConfigDelAll() { prefixXformConfig_.clear(); }
  bool prefixXformConfigHas( PrefixXformKey key ) const { return prefixXformConfig_.has( key ); }

  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<StageConfig>> const& rangeSplitConfig() const { return rangeSplitConfig_; }
  Kiv::Ptr<StageConfig> rangeSplitConfigIs( RangeSetType key, Kiv::Ptr<StageConfig> const& config ) {
    rangeSplitConfig_.set( key, config );
    return config;
  }
  void rangeSplitConfigDel( RangeSetType key ) { rangeSplitConfig_.erase( key ); }
  void rangeSplitConfigDelAll() { rangeSplitConfig_.clear(); }
  bool rangeSplitConfigHas( RangeSetType key ) const { return rangeSplitConfig_.has( key ); }

  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageConfig>> const& comboLabelResolverConfig() const {
    return comboLabelResolverConfig_;
  }
  Kiv::Ptr<StageConfig> comboLabelResolverConfigIs( ComboLabelSetType key, Kiv::Ptr<StageConfig> const& config ) {
    comboLabelResolverConfig_.set( key, config );
    return config;
  }
  void comboLabelResolverConfigDel( ComboLabelSetType key ) { comboLabelResolverConfig_.erase( key ); }
  void comboLabelResolverConfigDelAll() { comboLabelResolverConfig_.clear(); }
  bool comboLabelResolverConfigHas( ComboLabelSetType key ) const { return comboLabelResolverConfig_.has( key ); }

  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageConfig>> const& comboLabelSplitConfig() const {
    return comboLabelSplitConfig_;
  }
  Kiv::Ptr<StageConfig> comboLabelSplitConfigIs( ComboLabelSetType key, Kiv::Ptr<StageConfig> const& config ) {
    comboLabelSplitConfig_.set( key, config );
    return config;
  }
  void comboLabelSplitConfigDel( ComboLabelSetType key ) { comboLabelSplitConfig_.erase( key ); }
  void comboLabelSplitConfigDelAll() { comboLabelSplitConfig_.clear(); }
  bool comboLabelSplitConfigHas( ComboLabelSetType key ) const { return comboLabelSplitConfig_.has( key ); }

  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<StageConfig>> const& prefixEncoderConfig() const {
    return prefixEncoderConfig_;
  }
  Kiv::Ptr<StageConfig> prefixEncoderConfigIs( PrefixXformKey key, Kiv::Ptr<StageConfig> const& config ) {
    prefixEncoderConfig_.set( key, config );
    return config;
  }
  void prefixEncoderConfigDel( PrefixXformKey key ) { prefixEncoderConfig_.erase( key ); }
  void prefixEncoderConfigDelAll() { prefixEncoderConfig_.clear(); }
  bool prefixEncoderConfigHas( PrefixXformKey key ) const { return prefixEncoderConfig_.has( key ); }

  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<StageConfig>> const& rangeEncoderConfig() const {
    return rangeEncoderConfig_;
  }
  Kiv::Ptr<StageConfig> rangeEncoderConfigIs( RangeSetType key, Kiv::Ptr<StageConfig> const& config ) {
    rangeEncoderConfig_.set( key, config );
    return config;
  }
  void rangeEncoderConfigDel( RangeSetType key ) { rangeEncoderConfig_.erase( key ); }
  void rangeEncoderConfigDelAll() { rangeEncoderConfig_.clear(); }
  bool rangeEncoderConfigHas( RangeSetType key ) const { return rangeEncoderConfig_.has( key ); }

  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageConfig>> const& comboLabelEncoderConfig() const {
    return comboLabelEncoderConfig_;
  }
  Kiv::Ptr<StageConfig> comboLabelEncoderConfigIs( ComboLabelSetType key, Kiv::Ptr<StageConfig> const& config ) {
    comboLabelEncoderConfig_.set( key, config );
    return config;
  }
  void comboLabelEncoderConfigDel( ComboLabelSetType key ) { comboLabelEncoderConfig_.erase( key ); }
  void comboLabelEncoderConfigDelAll() { comboLabelEncoderConfig_.clear(); }
  bool comboLabelEncoderConfigHas( ComboLabelSetType key ) const { return comboLabelEncoderConfig_.has( key ); }

  Kiv::Ptr<StageConfig> const& ruleExpanderConfig() const { return ruleExpanderConfig_; }
  void ruleExpanderConfigIs( Kiv::Ptr<StageConfig> const& config ) { ruleExpanderConfig_ = config; }
  void ruleExpanderConfigDel() { ruleExpanderConfig_ = nullptr; }

  Kiv::Ptr<StageConfig> const& loaderConfig() const { return loaderConfig_; }
  void loaderConfigIs( Kiv::Ptr<StageConfig> const& config ) { loaderConfig_ = config; }
  void loaderConfigDel() { loaderConfig_ = nullptr; }

 private:
  Kiv::Ptr<StageConfig> aggregatorConfig_;
  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<StageConfig>> prefixXformConfig_;
  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<StageConfig>> rangeSplitConfig_;
  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageConfig>> comboLabelResolverConfig_;
  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageConfig>> comboLabelSplitConfig_;
  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<StageConfig>> prefixEncoderConfig_;
  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<StageConfig>> rangeEncoderConfig_;
  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageConfig>> comboLabelEncoderConfig_;
  Kiv::Ptr<StageConfig> ruleExpanderConfig_;
  Kiv::Ptr<StageConfig> loaderConfig_;
};

/// Every stage's status. Written by the root, watched by the controller. A change of one member of a collection is told
/// with its key; a change of a whole collection without, and the reactor then looks at every member.
class StageSmStatus : public Kiv::Entity {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<StageSmStatus, Kiv::NotifieeConst> {
   public:
    virtual void onAggregatorStatus() {}
    virtual void onPrefixXformStatus() {}
    virtual void onPrefixXformStatus( PrefixXformKey ) {}
    virtual void onRangeSplitStatus() {}
    virtual void onRangeSplitStatus( RangeSetType ) {}
    virtual void onComboLabelResolverStatus() {}
    virtual void onComboLabelResolverStatus( ComboLabelSetType ) {}
    virtual void onComboLabelSplitStatus() {}
    virtual void onComboLabelSplitStatus( ComboLabelSetType ) {}
    virtual void onPrefixEncoderStatus() {}
    virtual void onPrefixEncoderStatus( PrefixXformKey ) {}
    virtual void onRangeEncoderStatus() {}
    virtual void onRangeEncoderStatus( RangeSetType ) {}
    virtual void onComboLabelEncoderStatus() {}
    virtual void onComboLabelEncoderStatus( ComboLabelSetType ) {}
    virtual void onRuleExpanderStatus() {}
    virtual void onLoaderStatus() {}
  };

  Kiv::Ptr<StageStatus const> const& aggregatorStatus() const { return aggregatorStatus_; }
  void aggregatorStatusIs( Kiv::Ptr<StageStatus const> const& status ) {
    set( aggregatorStatus_, status, &NotifieeConst::onAggregatorStatus );
  }
  void aggregatorStatusDel() { aggregatorStatusIs( nullptr ); }

  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<StageStatus const>> const& prefixXformStatus() const {
    return prefixXformStatus_;
  }
  Kiv::Ptr<StageStatus const> prefixXformStatusIs( PrefixXformKey key, Kiv::Ptr<StageStatus const> const& status ) {
    setMember( prefixXformStatus_, key, status, &NotifieeConst::onPrefixXformStatus );
    return status;
  }
  void prefixXformStatusDel( PrefixXformKey key ) {
    deleteMember( prefixXformStatus_, key, &NotifieeConst::onPrefixXformStatus );
  }
  void prefixXformStatusDelAll() { deleteAllMembers( prefixXformStatus_, &NotifieeConst::onPrefixXformStatus ); }
  bool prefixXformStatusHas( PrefixXformKey key ) const { return prefixXformStatus_.has( key ); }

  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<StageStatus const>> const& rangeSplitStatus() const {
    return rangeSplitStatus_;
  }
  Kiv::Ptr<StageStatus const> rangeSplitStatusIs( RangeSetType key, Kiv::Ptr<StageStatus const> const& status ) {
    setMember( rangeSplitStatus_, key, status, &NotifieeConst::onRangeSplitStatus );
    return status;
  }
  void rangeSplitStatusDel( RangeSetType key ) {
    deleteMember( rangeSplitStatus_, key, &NotifieeConst::onRangeSplitStatus );
  }
  void rangeSplitStatusDelAll() { deleteAllMembers( rangeSplitStatus_, &NotifieeConst::onRangeSplitStatus ); }
  bool rangeSplitStatusHas( RangeSetType key ) const { return rangeSplitStatus_.has( key ); }

  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageStatus const>> const& comboLabelResolverStatus() const {
    return comboLabelResolverStatus_;
  }
  Kiv::Ptr<StageStatus const> comboLabelResolverStatusIs( ComboLabelSetType key,
                                                          Kiv::Ptr<StageStatus const> const& status ) {
    setMember( comboLabelResolverStatus_, key, status, &NotifieeConst::onComboLabelResolverStatus );
    return status;
  }
  void comboLabelResolverStatusDel( ComboLabelSetType key ) {
    deleteMember( comboLabelResolverStatus_, key, &NotifieeConst::onComboLabelResolverStatus );
  }
  void comboLabelResolverStatusDelAll() {
    deleteAllMembers( comboLabelResolverStatus_, &NotifieeConst::onComboLabelResolverStatus );
  }
  bool comboLabelResolverStatusHas( ComboLabelSetType key ) const { return comboLabelResolverStatus_.has( key ); }

  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageStatus const>> const& comboLabelSplitStatus() const {
    return comboLabelSplitStatus_;
  }
  Kiv::Ptr<StageStatus const> comboLabelSplitStatusIs( ComboLabelSetType key,
                                                       Kiv::Ptr<StageStatus const> const& status ) {
    setMember( comboLabelSplitStatus_, key, status, &NotifieeConst::onComboLabelSplitStatus );
    return status;
  }
  void comboLabelSplitStatusDel( ComboLabelSetType key ) {
    deleteMember( comboLabelSplitStatus_, key, &NotifieeConst::onComboLabelSplitStatus );
  }
  void comboLabelSplitStatusDelAll() {
    deleteAllMembers( comboLabelSplitStatus_, &NotifieeConst::onComboLabelSplitStatus );
  }
  bool comboLabelSplitStatusHas( ComboLabelSetType key ) const { return comboLabelSplitStatus_.has( key ); }

  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<StageStatus const>> const& prefixEncoderStatus() const {
    return prefixEncoderStatus_;
  }
  Kiv::Ptr<StageStatus const> prefixEncoderStatusIs( PrefixXformKey key, Kiv::Ptr<StageStatus const> const& status ) {
    setMember( prefixEncoderStatus_, key, status, &NotifieeConst::onPrefixEncoderStatus );
    return status;
  }
  void prefixEncoderStatusDel( PrefixXformKey key ) {
    deleteMember( prefixEncoderStatus_, key, &NotifieeConst::onPrefixEncoderStatus );
  }
  void prefixEncoderStatusDelAll() { deleteAllMembers( prefixEncoderStatus_, &NotifieeConst::onPrefixEncoderStatus ); }
  bool prefixEncoderStatusHas( PrefixXformKey key ) const { return prefixEncoderStatus_.has( key ); }

  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<StageStatus const>> const& rangeEncoderStatus() const {
    return rangeEncoderStatus_;
  }
  Kiv::Ptr<StageStatus const> rangeEncoderStatusIs( RangeSetType key, Kiv::Ptr<StageStatus const> const& status ) {
    setMember( rangeEncoderStatus_, key, status, &NotifieeConst::onRangeEncoderStatus );
    return status;
  }
  void rangeEncoderStatusDel( RangeSetType key ) {
    deleteMember( rangeEncoderStatus_, key, &NotifieeConst::onRangeEncoderStatus );
  }
  void rangeEncoderStatusDelAll() { deleteAllMembers( rangeEncoderStatus_, &NotifieeConst::onRangeEncoderStatus ); }
  bool rangeEncoderStatusHas( RangeSetType key ) const { return rangeEncoderStatus_.has( key ); }

  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageStatus const>> const& comboLabelEncoderStatus() const {
    return comboLabelEncoderStatus_;
  }
  Kiv::Ptr<StageStatus const> comboLabelEncoderStatusIs( ComboLabelSetType key,
                                                         Kiv::Ptr<StageStatus const> const& status ) {
    setMember( comboLabelEncoderStatus_, key, status, &NotifieeConst::onComboLabelEncoderStatus );
    return status;
  }
  void comboLabelEncoderStatusDel( ComboLabelSetType key ) {
    deleteMember( comboLabelEncoderStatus_, key, &NotifieeConst::onComboLabelEncoderStatus );
  }
  void comboLabelEncoderStatusDelAll() {
    deleteAllMembers( comboLabelEncoderStatus_, &NotifieeConst::onComboLabelEncoderStatus );
  }
  bool comboLabelEncoderStatusHas( ComboLabelSetType key ) const { return comboLabelEncoderStatus_.has( key ); }

  Kiv::Ptr<StageStatus const> const& ruleExpanderStatus() const { return ruleExpanderStatus_; }
  void ruleExpanderStatusIs( Kiv::Ptr<StageStatus const> const& status ) {
    set( ruleExpanderStatus_, status, &NotifieeConst::onRuleExpanderStatus );
  }
  void ruleExpanderStatusDel() { ruleExpanderStatusIs( nullptr ); }

  Kiv::Ptr<StageStatus const> const& loaderStatus() const { return loaderStatus_; }
  void loaderStatusIs( Kiv::Ptr<StageStatus const> const& status ) {
    set( loaderStatus_, status, &NotifieeConst::onLoaderStatus );
  }
  void loaderStatusDel() { loaderStatusIs( nullptr ); }

 private:
  Kiv::Ptr<StageStatus const> aggregatorStatus_;
  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<StageStatus const>> prefixXformStatus_;
  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<StageStatus const>> rangeSplitStatus_;
  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageStatus const>> comboLabelResolverStatus_;
  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageStatus const>> comboLabelSplitStatus_;
  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<StageStatus const>> prefixEncoderStatus_;
  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<StageStatus const>> rangeEncoderStatus_;
  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<StageStatus const>> comboLabelEncoderStatus_;
  Kiv::Ptr<StageStatus const> ruleExpanderStatus_;
  Kiv::Ptr<StageStatus const> loaderStatus_;
};

}  // namespace Orvex
