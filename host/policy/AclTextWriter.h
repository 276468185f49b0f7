#pragma once

/// Writes policies as ACL text, so that reading it gives an equal policy; docs/policy-format.md has the grammar.
///
/// Text that was read comes out in one form: everything in normalised order, sets in their shortest spelling, every
/// default action stated. What the model of policies does not hold is lost: comments, remarks, port lists, how lists nest,
/// and includes.
///
/// A prefix list of one prefix that has no name is written in its rule, all others as named lists before the ACLs, by the
/// user's names or list1, list2, ... in order of use. An ACL that has ports, ICMP types or TCP flags on protocols without
/// them, as generated filter sets have, gets "protocol-check off". A rule with both init and established is written with
/// init, which is what it means.

#include <string>

#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

/// Equal policies and names give equal texts.
/// Requires: the policy is normalised; the names are unique in each family.
std::string aclText( Policy const& policy, PrefixListNames const& names = {} );

/// What stands behind a rule's number, for messages. A list that can only be written by name and has none is "...".
std::string ruleText( Rule const& rule, Vell::AddressFamily family, PrefixListNames const& names );

}  // namespace Orvex::Host
