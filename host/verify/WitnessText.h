#pragma once

/// Says where two verdicts on one packet part: the rule, and its field. For messages; a proof does not rest on it.

#include "verify/LookUp.h"
#include "verify/Prover.h"

namespace Orvex::Verify {

/// `key` is what the table makes of the packet; a null table has no rules.
Witness witnessOf( Host::Acl const& acl, PDAclRuleColl const* table, LookUpKey const& key, Packet const& packet,
                   Verdict const& policy, Verdict const& inTable );

}  // namespace Orvex::Verify
