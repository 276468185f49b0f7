#include "Orvex/OrvexHwCapability.h"

#include "Kiv/Instantiate.h"

namespace Orvex {

ChipHwCapability::ChipHwCapability( Brae::ChipId chipId ) : chipId_( chipId ) {
  for ( auto const af : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
    for ( bool const src : { true, false } )
      prefixEncodingAttrIs( PrefixXformKey( af, src ), EncodingAttr( EncodingAttr::kMaxWidth, EncodedLabel( 0 ) ) );
}

Kiv::Ptr<ChipHwCapability> HwCapabilityColl::chipHwCapabilityIs( Brae::ChipId chipId ) {
  return Kiv::instantiate( chipHwCapability_, chipId );
}

}  // namespace Orvex
