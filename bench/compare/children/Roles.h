#pragma once

/// What `compare_child` does in a process of its own, so that its memory is its own and nothing is warm. Each prints facts
/// (Facts.h).

#include <string>

#include "Orvex/OrvexHwCapability.h"
#include "policy/Policy.h"

namespace Orvex::Bench {

/// "rules", "ipv6", and the different prefixes on each side: "sources" and "destinations".
void describe( Host::Policy const& policy );

/// One kick of the library, from the configuration to the snapshot that a driver has taken: its time, and what came out:
/// "entries", "keyBits" and the "labelEntries" and "labelBits" of the label tables. False when it fails.
/// Address and port labels have 16 bits.
bool kick( Host::Policy const& policy, LabelPlacement placement );

/// Makes the ternary entries that the rules take without labels: the time, "entries" and "keyBits".
/// Requires: address lists are of one prefix without excepts.
void expandPlainly( Host::Policy const& policy );

/// "entries" of the plain expansion, in 128 bits and without making them.
void countPlainly( Host::Policy const& policy );

/// "packets" through a software chip, half of them aimed at a rule, and the time. False when the policy is not loaded.
bool lookUp( Host::Policy const& policy );

/// The rules as an nftables ruleset, to be read by "nft -f".
std::string nftRuleset( Host::Policy const& policy );

}  // namespace Orvex::Bench
