#pragma once

/// A loader, its driver and its chip.

#include <gtest/gtest.h>

#include <vector>

#include "Orvex/OrvexLoaderSm.h"
#include "orvex/TestDriver.h"

namespace Orvex::Test {

/// A loader with its driver, after one update that went well.
struct Loading {
  explicit Loading( std::vector<Fault> const& faults = {}, bool everythingOn = true ) {
    for ( auto const af : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
      for ( bool const src : { true, false } ) config->prefixXformLoaderInfoIs( PrefixXformKey( af, src ) );
    config->ruleExpanderLoaderInfoIs();
    EncodingAttr const on( everythingOn ? 8 : 0, EncodedLabel( 0 ) );
    for ( std::uint32_t type = 0; type != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++type )
      capability->comboEncodingAttrIs( static_cast<ComboLabelSetType>( type ), on );
    for ( std::uint32_t type = 0; type != Kiv::enumValue( RangeSetType::rangeSetMax ); ++type )
      capability->rangeEncodingAttrIs( static_cast<RangeSetType>( type ), on );
    loader = Kiv::make<LoaderSm>( Brae::ChipId( 3 ), config, status, pdConfig, pdStatus, capability, parameters );
    loader->hasNotificationActiveIs( true );
    kick();
    EXPECT_EQ( StageStatusType::finishedSuccess, status->status() );
    driver.log.clear();
    driver.faults = faults;
    before = driver.loaded;
  }
  StageStatusType kick() {
    config->kickTimeIs( config->kickTime() + 10 );
    driver.run();
    return status->status();
  }
  bool newSnapshotIsInForce() const { return driver.loaded != before && driver.loaded == pdConfig->currPDData(); }

  Kiv::Ptr<LoaderConfig> config = Kiv::make<LoaderConfig>();
  Kiv::Ptr<LoaderStatus> status = Kiv::make<LoaderStatus>();
  Kiv::Ptr<PDConfig> pdConfig = Kiv::make<PDConfig>( Brae::ChipId( 3 ) );
  Kiv::Ptr<PDStatus> pdStatus = Kiv::make<PDStatus>( Brae::ChipId( 3 ) );
  Kiv::Ptr<ChipHwCapability> capability = Kiv::make<ChipHwCapability>( Brae::ChipId( 3 ) );
  Kiv::Ptr<Brae::ParamConfig> parameters = Kiv::make<Brae::ParamConfig>();
  TestDriver driver{ pdConfig, pdStatus };
  Kiv::Ptr<PDData> before;
  Kiv::Ptr<LoaderSm> loader;
};

}  // namespace Orvex::Test
