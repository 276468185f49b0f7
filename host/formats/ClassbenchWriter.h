#pragma once

/// Writes an ACL as a ClassBench filter set, which readClassbench() takes back: a rule a line, its name before it as a
/// comment.
///
/// The format has no actions. What it can say is what the reader's option can give back: every rule permits, every rule
/// denies, or they alternate, beginning with permit. A note says which option that is, and whether it needs the one for
/// flags: TCP's "init" and single ICMP types are written there. Numbers of rules are their places in the file; a default of
/// permit becomes a last filter for everything.

#include <optional>
#include <string>

#include "input/Diagnostics.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

/// None, with an error for each kind of loss, when the format cannot hold the policy.
std::optional<std::string> classbenchText( LocatedPolicy const& located, Diagnostics& diagnostics );

}  // namespace Orvex::Host
