#pragma once

/// A chip with its driver, a host that kicks and serves it, and the pipeline of one version of its policy.
///
///     TestChip chip;
///     rule( *chip.policy->aclIs( "edge" ), 10, "web", "dport 80" );
///     chip.compile();                          // orvexFinishedSuccess
///     chip.driver.loaded;                      // the snapshot

#include "Brae/TimerWheel.h"
#include "Kiv/System.h"
#include "Orvex/OrvexRootSm.h"
#include "orvex/TestDriver.h"

namespace Orvex::Test {

struct TestChip {
  /// Makes a pipeline in place of the last one.
  void build() {
    root = nullptr;
    root = orvexRootSmFactory( Brae::ChipId( 7 ), capability, rootConfig, rootStatus, policy, parameters, pdConfig,
                               pdStatus );
  }
  void kick( OrvexKickRequest request = OrvexKickRequest::orvexStart ) {
    rootConfig->orvexKickRequestIs( request );
    rootConfig->orvexKickTimeIs( Kiv::System::currentTime() );
  }
  /// Until nothing is due.
  void run() {
    auto const wheel = Brae::TimerWheel::ofThisThread();
    while ( wheel->due() || driver.answer() )
      while ( wheel->due() ) wheel->service();
  }
  OrvexProgress compile() {
    build();
    kick();
    run();
    return rootStatus->kickProgress();
  }

  Kiv::Ptr<ChipHwCapability> capability = Kiv::make<ChipHwCapability>( Brae::ChipId( 7 ) );
  Kiv::Ptr<RootConfig> rootConfig = Kiv::make<RootConfig>( Brae::ChipId( 7 ) );
  Kiv::Ptr<RootStatus> rootStatus = Kiv::make<RootStatus>( Brae::ChipId( 7 ) );
  Kiv::Ptr<AclConfigColl> policy = Kiv::make<AclConfigColl>( Brae::ChipId( 7 ) );
  Kiv::Ptr<Brae::ParamConfig> parameters = Kiv::make<Brae::ParamConfig>();
  Kiv::Ptr<PDConfig> pdConfig = Kiv::make<PDConfig>( Brae::ChipId( 7 ) );
  Kiv::Ptr<PDStatus> pdStatus = Kiv::make<PDStatus>( Brae::ChipId( 7 ) );
  TestDriver driver{ pdConfig, pdStatus };
  Kiv::Ptr<OrvexRootSm> root;
};

}  // namespace Orvex::Test
