#pragma once

/// What a table states otherwise than its policy, whether or not a packet can show it.
///
/// A proof (Prover.h) compares what happens to packets. So it does not see the action of a rule that others hide whole, nor
/// the default of an ACL of which every packet matches a rule. Whoever edits such a table, or counts on what it states,
/// does see them. Here the two are compared as they are written, without a packet:
///
///     ACLs of each family          those of the policy and no others
///     the default of each ACL
///     rules of each ACL            by index; also one without entries
///     the action of each rule      drop, log, dscp, tc, sflow, each by itself
///
/// Cost: near to linear in rules.

#include <string>
#include <vector>

#include "verify/Prover.h"

namespace Orvex::Verify {

/// Sentences such as "ipv4 ACL edge-in, rule 10, action.log: the policy says false, the table true", in the order of ACLs
/// and rules. `defaults` names every ACL that the table has.
std::vector<std::string> statedDifferences( Host::Policy const& policy, PDData const& snapshot,
                                            DefaultActions const& defaults );

}  // namespace Orvex::Verify
