#pragma once

/// What a policy means and its author may not have meant, as warnings.
///
/// A rule that matches nothing, because it looks at ports, ICMP types or TCP flags of later fragments, which have none.
///
/// A rule that an earlier rule covers whole, and so never decides anything:
///
///     10 permit tcp 10.0.0.0/8 any
///     20 deny tcp 10.1.0.0/16 any eq 23       rule 10 matches all of it
///
/// A deny on ports, ICMP types or TCP flags whose packets' later fragments a later permit, or the ACL's default, lets
/// through, because it does not look at these:
///
///     10 deny udp any any eq 161
///     20 permit ip any 10.0.0.0/8             write "deny udp any any fragments" before it
///
/// What is said is right, except that a gap can be closed by several rules together, which is not seen. Not all is found:
/// for rules that cover see CoverIndex; of the rules behind a deny, those within kMaxFollowers that match later fragments
/// are looked at, and behind them those that cover the deny's fragments whole. A rule with "none" for addresses is meant to
/// match nothing. Nothing more is looked for when no more warnings are shown.
///
/// Cost: near to linear in rules and prefixes.

#include <cstddef>

#include "input/Diagnostics.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

inline constexpr std::size_t kMaxFollowers = 32;

/// Adds warnings. Requires: the policy is normalised.
void lint( LocatedPolicy const& located, Diagnostics& diagnostics );

}  // namespace Orvex::Host
