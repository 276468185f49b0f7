#pragma once

/// Hands a policy to the library.
///
///     Policy                                    AclConfigColl
///     ipv4 edge-in, rules 10 "web", 20 "20"     acl "ipv4/edge-in", ruleById 10 -> "web", 20 -> "20"
///     ipv6 edge-in, rule 10 without prefix      acl "ipv6/edge-in", rule 10 with source ::/0
///     ipv6 unused, no rules                     (stays out: the chip applies its default action)
///
/// The library tells an ACL's family by its first prefix and takes one without prefixes for IPv4, hence the ::/0. Rules
/// that share a list here share one IpPrefixList there: equal lists are compared and encoded once.
///
/// Default actions do not pass through the library; the pipeline gives them to the chip.

#include <string>
#include <string_view>
#include <utility>

#include "Orvex/OrvexAclTypes.h"
#include "policy/Policy.h"

namespace Orvex::Host {

/// The name of an ACL in the library: "ipv6/edge-in".
Kiv::String libraryAclName( Vell::AddressFamily family, std::string_view name );

/// The family and the user's name in a name that libraryAclName() made.
/// Fails with: Kiv::ParseException.
std::pair<Vell::AddressFamily, std::string> userAclName( Kiv::String const& libraryName );

/// Adds the policy's ACLs to a chip's collection.
/// Requires: the policy is normalised; the collection is empty.
void buildAclConfig( Policy const& policy, AclConfigColl& config );

}  // namespace Orvex::Host
