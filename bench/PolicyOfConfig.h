#pragma once

/// The policy model of what generators and readers give to the library directly.

#include "Orvex/OrvexAclTypes.h"
#include "policy/Policy.h"

namespace Orvex::Bench {

/// Normalised. Lists that rules share there are shared here.
/// Requires: the ACLs are named FAMILY/NAME.
/// Fails with: Host::PolicyError.
Host::Policy policyOf( AclConfigColl const& config );

}  // namespace Orvex::Bench
