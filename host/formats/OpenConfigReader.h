#pragma once

/// Reads ACLs of OpenConfig (openconfig-acl, with openconfig-defined-sets) in JSON; docs/input-formats.md says what is
/// taken.
///
///     {"openconfig-acl:acl": {"acl-sets": {"acl-set": [{
///       "name": "edge", "type": "ACL_IPV4", "config": {"name": "edge", "type": "ACL_IPV4"},
///       "acl-entries": {"acl-entry": [{
///         "sequence-id": 10, "config": {"sequence-id": 10, "description": "web"},
///         "ipv4": {"config": {"protocol": "openconfig-packet-match-types:IP_TCP"}},
///         "transport": {"config": {"destination-port": 443}},
///         "actions": {"config": {"forwarding-action": "ACCEPT"}}}]}}]}}}
///
/// Entries are rules with their sequence-id as number, in whatever order they stand. A description that no other entry of
/// the ACL has, and that is no number, is the rule's name. What no entry matches is denied. Sets can stand in another file
/// than the ACLs that use them.
///
/// Interfaces are checked and not part of the policy, of which a note says so.

#include <optional>
#include <span>

#include "formats/InstanceDocument.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

/// The policy that the documents make together. None when the diagnostics have errors, old ones too.
std::optional<LocatedPolicy> readOpenConfig( std::span<InstanceDocument const> documents, Unsupported unsupported,
                                             Diagnostics& diagnostics );

}  // namespace Orvex::Host
