#pragma once

/// The protocol between a stage of the pipeline and whoever kicks it.
///
/// The kicker writes a new `kickTime` into the stage's config. The stage answers in its status, always the kick time
/// first and then the state, so that a reader that reacts to the state finds the time it belongs to already in place:
///
///     config.kickTime = 17.5                          written by the kicker
///     status.kickTime = 17.5, status = inProgress     doStartKick() runs
///     status.kickTime = 17.5, status = finishedSuccess
///
/// A status whose kick time is not the one that the kicker wrote says nothing about its kick: the kicker reads it as
/// "init". A kick that comes while the stage is still at work is neither queued nor refused: the work starts again, and
/// only the report with the newest time counts. Writing the present kick time again is no kick.

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "Brae/ChipId.h"
#include "Kiv/Entity.h"
#include "Kiv/Enumeration.h"
#include "Kiv/StateMachine.h"

namespace Orvex {

using Kiv::TextForm::operator<<;

/// "finishedSuccess", "finishedSkipped" (input unchanged) and "finishedNotEnabled" (switched off on this chip) let the
/// pipeline go on; "finishedFailed" stops it; "cancelled" ends the kick without a result.
enum class StageStatusType : std::uint32_t {
  init,
  inProgress,
  finishedSuccess,
  finishedSkipped,
  finishedNotEnabled,
  finishedFailed,
  cancelled
};

inline constexpr std::array<std::string_view, 7> kStageStatusTypeNames = {
    "init", "inProgress", "finishedSuccess", "finishedSkipped", "finishedNotEnabled", "finishedFailed", "cancelled" };
static_assert( kStageStatusTypeNames.size() == Kiv::enumValue( StageStatusType::cancelled ) + 1 );
constexpr std::span<std::string_view const> enumNames( StageStatusType ) { return kStageStatusTypeNames; }
inline StageStatusType StageStatusTypeInstance( Kiv::String const& name ) {
  return Kiv::enumInstance<StageStatusType>( name );
}

/// What a stage is told. Written by whoever kicks it.
class StageConfig : public Kiv::Entity {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<StageConfig, Kiv::NotifieeConst> {
   public:
    virtual void onKickTime() {}
  };

  /// Seconds; every new value is a new kick. 0 before the first.
  double kickTime() const { return kickTime_; }
  void kickTimeIs( double time ) { set( kickTime_, time, &NotifieeConst::onKickTime ); }

 private:
  double kickTime_ = 0;
};

/// What a stage reports. Written only by its stage.
class StageStatus : public Kiv::Entity {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<StageStatus, Kiv::NotifieeConst> {
   public:
    virtual void onKickTime() {}
    virtual void onStatus() {}
  };

  /// The config's kick time that this status answers; 0 before the first kick.
  double kickTime() const { return kickTime_; }
  void kickTimeIs( double time ) { set( kickTime_, time, &NotifieeConst::onKickTime ); }

  /// State of the kick that kickTime() names.
  StageStatusType status() const { return status_; }
  void statusIs( StageStatusType status ) { set( status_, status, &NotifieeConst::onStatus ); }

 private:
  double kickTime_ = 0;
  StageStatusType status_ = StageStatusType::init;
};

/// Base of every stage. A stage overrides doStartKick() and ends each kick with one final doSetStatus().
class StageSm : public Kiv::StateMachine {
 public:
  StageSm( Brae::ChipId chipId, Kiv::Ptr<StageConfig const> const& config, Kiv::Ptr<StageStatus> const& status );
  ~StageSm() override;

  Brae::ChipId chipId() const { return chipId_; }
  Kiv::Ptr<StageConfig const> config() const;
  Kiv::Ptr<StageStatus> const& status() const { return status_; }

  /// Binds to another config, which is a kick when notification is on. The config already bound changes nothing.
  void configIs( Kiv::Ptr<StageConfig const> const& config );
  void configDel();

  /// A new kick: reports "inProgress" and starts the work.
  void handleKickTime();

  /// Reports for the config's present kick. Without a config there is no kick to answer, and nothing is reported. A stage
  /// whose work lets others run, and so may be kicked anew meanwhile, compares config()->kickTime() before it reports.
  void doSetStatus( StageStatusType status );

 protected:
  virtual void doStartKick() {}

 private:
  class KivConfig;

  Brae::ChipId chipId_;
  Kiv::Ptr<StageStatus> status_;
  Kiv::Ptr<KivConfig> kivConfig_;
};

/// A stage that only follows the protocol, listening.
Kiv::Ptr<StageSm> stageSmFactory( Brae::ChipId chipId, Kiv::Ptr<StageConfig const> const& config,
                                  Kiv::Ptr<StageStatus> const& status );

}  // namespace Orvex
