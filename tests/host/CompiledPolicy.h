#pragma once

/// Policies on their way through the compiler onto a chip.

#include "orvex/TestChip.h"
#include "policy/AclConfigBuilder.h"
#include "verify/Prover.h"

namespace Orvex::Host::Test {

/// Compiles the policy onto the chip. Null when the kick failed.
inline Kiv::Ptr<PDData> compiled( Orvex::Test::TestChip& chip, Policy const& policy ) {
  chip.policy = Kiv::make<AclConfigColl>( Brae::ChipId( 7 ) );
  buildAclConfig( policy, *chip.policy );
  return chip.compile() == OrvexProgress::orvexFinishedSuccess ? chip.driver.loaded : nullptr;
}

inline Verify::DefaultActions defaultsOf( Policy const& policy ) {
  Verify::DefaultActions defaults;
  for ( Acl const& acl : policy.acls )
    defaults[PDAclKey( acl.family, libraryAclName( acl.family, acl.name ) )] = acl.defaultAction;
  return defaults;
}

}  // namespace Orvex::Host::Test
