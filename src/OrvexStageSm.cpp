#include "Orvex/OrvexStageSm.h"

namespace Orvex {

class StageSm::KivConfig : public Kiv::Reactor<StageConfig::NotifieeConst, StageSm> {
 public:
  using Reactor::Reactor;
  void onKickTime() override { owner()->handleKickTime(); }
};

StageSm::StageSm( Brae::ChipId chipId, Kiv::Ptr<StageConfig const> const& config, Kiv::Ptr<StageStatus> const& status )
    : chipId_( chipId ), status_( status ), kivConfig_( Kiv::make<KivConfig>( this ) ) {
  kivConfig_->notifierIs( config );
}

StageSm::~StageSm() = default;

Kiv::Ptr<StageConfig const> StageSm::config() const { return kivConfig_->notifier(); }

void StageSm::configIs( Kiv::Ptr<StageConfig const> const& config ) {
  if ( config == this->config() ) return;
  Kiv::Ptr<StageSm> const self( this );
  kivConfig_->notifierIs( config );
  if ( config && hasNotificationActive() ) handleKickTime();
}

void StageSm::configDel() { configIs( nullptr ); }

void StageSm::handleKickTime() {
  Kiv::Ptr<StageSm> const self( this );
  doSetStatus( StageStatusType::inProgress );
  doStartKick();
}

void StageSm::doSetStatus( StageStatusType status ) {
  Kiv::Ptr<StageSm> const self( this );
  auto const answered = config();
  if ( !answered ) return;
  status_->kickTimeIs( answered->kickTime() );
  status_->statusIs( status );
}

Kiv::Ptr<StageSm> stageSmFactory( Brae::ChipId chipId, Kiv::Ptr<StageConfig const> const& config,
                                  Kiv::Ptr<StageStatus> const& status ) {
  auto stage = Kiv::make<StageSm>( chipId, config, status );
  stage->hasNotificationActiveIs( true );
  return stage;
}

}  // namespace Orvex
