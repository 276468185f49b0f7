#pragma once

/// Prefix lists as sets of addresses: their union, and whether one contains or meets another.
///
/// To put the prefixes of all lists and the excepts of all lists together would be no union: an except of one list would
/// cut the addresses of another. So every list is followed by itself, from outer prefixes to inner ones. Between
/// neighbouring prefixes of all lists together no list changes its answer, so that one look at each of these regions is
/// exact. The union has a prefix where the answer "some list matches here" changes:
///
///     10.0.0.0/8 !10.1.0.0/16   and   10.1.2.0/24 !10.1.2.128/25   become   10.0.0.0/8 10.1.2.0/24 !10.1.0.0/16 !10.1.2.128/25
///     10.0.0.0/8 !10.1.0.0/16   and   10.0.0.0/8                   become   10.0.0.0/8
///
/// Requires everywhere: all prefixes are of one family.
/// Cost: O(n log n) in prefixes of all lists; of a list with a single prefix and another, O(log n).

#include <cstdint>
#include <span>

#include "policy/Policy.h"

namespace Orvex::Host {

/// Matches an address exactly when one of the lists matches it by itself (see PrefixList).
PrefixList unionOf( std::span<PrefixList const* const> lists );

/// The prefix of that length around this one. Requires: length <= prefix.length().
Vell::IpGenPrefix cut( Vell::IpGenPrefix const& prefix, std::uint32_t length );

/// Whether the list, without this excepted prefix of it, would match the same.
/// Requires: its prefixes and excepts ascend.
bool isNeedless( PrefixList const& list, Vell::IpGenPrefix const& except );

/// Whether `outer` matches every address that `inner` matches. Regions that inner prefixes fill to the last address are
/// looked at too, so that the answer can be no where yes would be right.
/// Requires: the lists are those of a normalised policy; so does meet().
bool contains( PrefixList const& outer, PrefixList const& inner );

/// Whether an address is matched by both; for regions that inner prefixes fill, the answer can be yes where no would be
/// right.
bool meet( PrefixList const& a, PrefixList const& b );

}  // namespace Orvex::Host
