#pragma once

/// Reads ACLs of RFC 8519 (ietf-access-control-list@2019-03-04) in JSON; docs/input-formats.md says what is taken.
///
///     {"ietf-access-control-list:acls": {"acl": [{
///       "name": "edge", "type": "ipv4-acl-type",
///       "aces": {"ace": [{"name": "web",
///                         "matches": {"tcp": {"destination-port": {"operator": "eq", "port": 443}}},
///                         "actions": {"forwarding": "accept"}}]}}]}}
///
/// ACEs are rules in the order of the array. They are numbered 10, 20, ..., or as they are called, if all of an ACL's names
/// are ascending numbers. What no ACE matches is denied. Matches on TCP, UDP or ICMP imply the protocol.
///
/// Attachment points are checked and not part of the policy, of which a note says so.

#include <optional>
#include <span>

#include "formats/InstanceDocument.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

/// The policy that the documents make together. None when the diagnostics have errors, old ones too.
std::optional<LocatedPolicy> readRfc8519( std::span<InstanceDocument const> documents, Unsupported unsupported,
                                          Diagnostics& diagnostics );

}  // namespace Orvex::Host
