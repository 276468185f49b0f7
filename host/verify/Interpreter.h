#pragma once

/// What a policy means. Provers, chips and look-ups are held against this; so it is written to be read, not to be fast.
///
///  1. Rules are tried in ascending index, and the first that matches decides. If none does, the ACL's default action
///     does.
///  2. A rule matches when everything that it names matches; what it does not name matches anything.
///  3. A prefix list matches an address when the longest of its prefixes and excepted prefixes that contain the address
///     is a prefix. The same prefix as both is a prefix.
///  4. Ports, ICMP type and TCP flags match in a head fragment only.
///  5. "established" is ACK or RST set, "init" is SYN set and ACK clear; a rule with both means "init".
///
/// Requires everywhere: the policy is normalised. A set that covers its field would demand a head fragment.

#include <string_view>

#include "verify/Packet.h"

namespace Orvex::Verify {

/// The ACL of that name in the family that the packet's addresses choose.
/// Fails with: QuestionError.
Host::Acl const& aclFor( Host::Policy const& policy, std::string_view name, Packet const& packet );

/// Fails with: QuestionError when the packet is not one, or not of the ACL's family.
Verdict interpret( Host::Acl const& acl, Packet const& packet );

bool matches( Host::Rule const& rule, Packet const& packet );

/// A null list matches every address.
bool matches( Host::SharedPrefixList const& list, Vell::IpGenPrefix const& address );

}  // namespace Orvex::Verify
